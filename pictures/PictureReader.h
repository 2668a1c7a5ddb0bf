#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Result.h"
#include "pictures/PixelRows.h"
#include "system/ByteSource.h"

#include <memory>
#include <vector>

namespace mv {

/// Refused before any pixel is decoded: the largest cameras stay below it, and at the speed of the slowest streamed
/// format it still is a matter of seconds.
inline constexpr std::uint64_t MaxSourcePixels = 512'000'000;
/// Keeps one row of the widest pixels (16 bits, 4 channels) within 8 MiB.
inline constexpr int MaxSourceSide = 1 << 20;
/// Formats whose libraries hold the whole picture at once (HEIF, lossless WebP) may hold 512 MB.
inline constexpr std::uint64_t MaxWholePicturePixels = 128'000'000;
/// Real profiles are below 4 MB; larger ones are ignored, the picture is not.
inline constexpr std::size_t MaxProfileBytes = 8u << 20;

/// What a picture's header tells.
struct PictureHeader {
    int width = 0;
    int height = 0;
    PixelModel model = PixelModel::Rgb;
    Bytes profile; ///< ICC, empty when there is none
};

/// What pictures are drawn for.
enum class Drawing {
    Faithful, ///< as records have them, whose pixels do not change
    Quick, ///< thumbnails: from a smaller picture in the file too, and with the least that their size needs
};

/// The error of a size that no reader accepts, or success.
Result<void> checkPictureSize(std::uint64_t width, std::uint64_t height);

/// One picture of a file. Made from the header alone; every decode starts afresh. One thread at a time.
class PictureReader {
public:
    virtual ~PictureReader() = default;
    virtual const PictureHeader& header() const = 0;
    /// Delivers the picture for a drawing of at least `targetWidth` x `targetHeight` pixels; a reader that can may
    /// deliver a reduced raster of at least twice that. Broken data ends the rows early, which is no error when at
    /// least one row came before.
    virtual Result<void> decode(int targetWidth, int targetHeight, RowSink& sink) = 0;
    /// Delivers the unreduced raster from the top, at least up to row `y`; readers that can stop there.
    virtual Result<void> decodeTop(int y, RowSink& sink)
    {
        (void)y;
        return decode(header().width, header().height, sink);
    }
};

using PictureReaders = std::vector<std::unique_ptr<PictureReader>>;

/// Finds the format by the first bytes and opens its pictures: a page each of a TIFF, one of everything else.
Result<PictureReaders> openPictures(const SharedSource& source, Drawing drawing = Drawing::Faithful);

/// Loads what is else loaded when the first picture of its kind comes, for a process that can load nothing later.
void preparePictureLibraries();

} // namespace mv
