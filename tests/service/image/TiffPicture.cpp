#include "tests/service/image/TiffPicture.h"

#include "pictures/TiffFile.h"
#include "system/ByteSource.h"

#include <stdexcept>

namespace mv::test {

namespace {

int shortField(TIFF* tiff, std::uint32_t tag)
{
    std::uint16_t value = 0;
    TIFFGetFieldDefaulted(tiff, tag, &value);
    return value;
}

} // namespace

TiffPicture tiffPicture(const Bytes& bytes)
{
    auto source = sourceOfBytes(bytes);
    auto file = TiffFile::open(*source);
    if (!file)
        throw std::runtime_error("no TIFF");
    TIFF* tiff = (*file)->get();
    TiffPicture picture;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
    picture.width = static_cast<int>(width);
    picture.height = static_cast<int>(height);
    picture.bits = shortField(tiff, TIFFTAG_BITSPERSAMPLE);
    picture.samples = shortField(tiff, TIFFTAG_SAMPLESPERPIXEL);
    picture.compression = shortField(tiff, TIFFTAG_COMPRESSION);
    picture.photometric = shortField(tiff, TIFFTAG_PHOTOMETRIC);
    std::uint16_t extraCount = 0;
    std::uint16_t* extra = nullptr;
    if (TIFFGetField(tiff, TIFFTAG_EXTRASAMPLES, &extraCount, &extra) && extraCount > 0)
        picture.extraSample = extra[0];
    std::size_t stride = static_cast<std::size_t>(TIFFScanlineSize(tiff));
    picture.pixels.resize(stride * height);
    for (std::uint32_t y = 0; y < height; ++y) {
        if (TIFFReadScanline(tiff, &picture.pixels[stride * y], y, 0) < 0)
            throw std::runtime_error("a TIFF without its rows");
    }
    picture.pages = TIFFNumberOfDirectories(tiff);
    return picture;
}

} // namespace mv::test
