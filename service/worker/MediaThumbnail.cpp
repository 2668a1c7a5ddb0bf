#include "service/worker/MediaThumbnail.h"

#include "facts/reading/Describe.h"
#include "pictures/ImageEncoder.h"
#include "pictures/PictureReader.h"
#include "png/PngFile.h"
#include "service/parsers/Preview.h"
#include "service/worker/MediaProblems.h"

#include <utility>

namespace mv {

namespace {

// Better than an encoder's own, which shows in small pictures.
constexpr int JpegQuality = 85;

Result<Bytes> encoded(Bitmap bitmap, ThumbnailFormat format)
{
    switch (format) {
    case ThumbnailFormat::Jpeg:
        return encodeJpeg(bitmap, JpegQuality);
    case ThumbnailFormat::Rgba:
        return std::move(bitmap.pixels);
    case ThumbnailFormat::Png:
        break;
    }
    return pngOf(bitmap);
}

MediaProblem problemOf(const NoPreview& none)
{
    if (none.why == NoPreview::Why::NoPicture)
        return MediaProblem::NoPicture;
    return none.problem.kind == Error::Kind::Limit ? MediaProblem::TooLarge : MediaProblem::Failed;
}

/// In the form that is wanted.
MediaResult thumbnailOf(Preview preview, ThumbnailFormat format)
{
    if (const auto* none = std::get_if<NoPreview>(&preview))
        return problemOf(*none);
    Bitmap& bitmap = std::get<DrawnPreview>(preview).bitmap;
    auto width = static_cast<std::uint32_t>(bitmap.width);
    auto height = static_cast<std::uint32_t>(bitmap.height);
    auto data = encoded(std::move(bitmap), format);
    if (!data)
        return MediaProblem::Failed;
    return Thumbnail { width, height, std::move(*data) };
}

/// The first picture that can be drawn; the front cover stands first.
MediaResult coverOf(Facts facts, const PreviewWish& preview, ThumbnailFormat format)
{
    for (FactPicture& picture : facts.pictures) {
        SharedSource bytes = sourceOfBytes(std::move(picture.data));
        auto result = thumbnailOf(drawPreview({ Path(), FileAttributes {}, std::move(bytes) }, preview), format);
        if (std::holds_alternative<Thumbnail>(result))
            return result;
    }
    return MediaProblem::NoPicture;
}

bool hasTooManyPixels(const Facts& facts)
{
    const auto* width = facts.get<std::uint32_t>(fact::Width);
    const auto* height = facts.get<std::uint32_t>(fact::Height);
    return width && height && std::uint64_t { *width } * *height > MaxSourcePixels;
}

} // namespace

MediaResult makeMediaThumbnail(const OpenedFile& file, const ThumbnailWish& wish)
{
    PreviewWish preview { .side = static_cast<int>(wish.size), .isUpright = wish.upright, .takesCover = false };
    auto facts = describe(file, file.path().text(), { .pictures = true });
    if (!facts)
        return mediaProblemOf(facts.error());
    if (*facts->get<std::string>(fact::Kind) == "audio")
        return coverOf(std::move(*facts), preview, wish.format);
    if (hasTooManyPixels(*facts))
        return MediaProblem::TooLarge;
    return thumbnailOf(drawPreview(file, preview), wish.format);
}

} // namespace mv
