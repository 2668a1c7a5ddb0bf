#include "pictures/PictureReader.h"

#include "pictures/BmpReader.h"
#include "pictures/GifReader.h"
#include "pictures/HeifLibrary.h"
#include "pictures/HeifReader.h"
#include "pictures/PictureFormat.h"
#include "pictures/PngReader.h"
#include "pictures/TiffReader.h"
#include "pictures/WebPReader.h"
#include "pictures/jpeg/JpegReader.h"

namespace mv {

Result<void> checkPictureSize(std::uint64_t width, std::uint64_t height)
{
    if (width == 0 || height == 0)
        return Error { Error::Kind::Format, "a picture without pixels" };
    if (width > MaxSourceSide || height > MaxSourceSide || width * height > MaxSourcePixels)
        return Error { Error::Kind::Limit, "a picture of too many pixels" };
    return {};
}

Result<PictureReaders> openPictures(const SharedSource& source, Drawing drawing)
{
    std::uint8_t first[PictureMagicBytes] = {};
    std::size_t count = source->readUpTo(0, first);
    switch (formatOfBytes({ first, count })) {
    case PictureFormat::Jpeg:
        return JpegReader::open(source, drawing);
    case PictureFormat::Png:
        return PngReader::open(source);
    case PictureFormat::Gif:
        return GifReader::open(source);
    case PictureFormat::Bmp:
        return BmpReader::open(source);
    case PictureFormat::Tiff:
        return TiffReader::open(source);
    case PictureFormat::WebP:
        return WebPReader::open(source);
    case PictureFormat::Heif:
        return HeifReader::open(source, drawing);
    default:
        return Error { Error::Kind::Unsupported, "no format that is taken" };
    }
}

void preparePictureLibraries()
{
    // Its plug-ins come with the first context.
    if (const HeifLibrary* heif = HeifLibrary::get())
        heif->contextFree(heif->contextAlloc());
}

} // namespace mv
