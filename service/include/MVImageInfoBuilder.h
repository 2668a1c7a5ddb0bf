#pragma once

#include "service/include/MVMediaInfoBuilder.h"

namespace mv {

/// A pair of single-precision numbers, width first.
struct FloatSize {
    float width = 0;
    float height = 0;
};

// What a thumbnail is for; decides its default size, its canvas and the colour of its margins.
inline constexpr int ThumbnailCategoryAlbumArt = 1;
inline constexpr int ThumbnailCategoryPicture = 2;
inline constexpr int ThumbnailCategoryVideoFrame = 3;

// Keys of the thumbnail dictionary: the encoded picture, and the source's size in pixels as floating-point numbers.
inline constexpr std::string_view kThumbnailData = "data";
inline constexpr std::string_view kThumbnailWidth = "width";
inline constexpr std::string_view kThumbnailHeight = "height";

/// Key of the orientation's display text in a picture's record; no column of the database.
inline constexpr std::string_view kPhotoOrientation = "Orientation";

/// Describes pictures and renders thumbnails of a size that the client chooses.
template <class File> class MVImageInfoBuilderOf : public MVMediaInfoBuilderOf<File> {
public:
    /// The thumbnail dictionary, or nothing when no thumbnail can be rendered.
    virtual std::optional<Record> makeThumbnailWithMaxSize(const File& file, FloatSize maximum) = 0;
};

/// What the service implements.
using MVImageInfoBuilder = MVImageInfoBuilderOf<OpenedFile>;

} // namespace mv
