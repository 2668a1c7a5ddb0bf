#pragma once

#include "platform/graphics/NSImage.h"

#include <functional>

namespace mv::test {

/// Smooth areas, edges and fine texture, the same at every call.
Bitmap photo(int width, int height);
Bitmap plain(int width, int height, NSColor color);

/// The mean difference of colour samples, alpha left out; -1 when the sizes differ.
double meanDifference(const Bitmap& a, const Bitmap& b);
/// Peak signal to noise in decibels over the colour samples.
double psnr(const Bitmap& a, const Bitmap& b);

/// The plain textbook computation in double precision, on the whole picture at once.
Bitmap referenceLanczos(const Bitmap& source, int width, int height);

struct JpegWish {
    bool progressive = false;
    int sampling = 2; ///< 1: 4:4:4, 2: 4:2:0
    bool gray = false;
    int quality = 90;
    Bytes profile;
};
Bytes makeJpeg(const Bitmap& bitmap, const JpegWish& wish = {});
/// Four inks of one colour (255 is full ink), with or without the marker that says they are stored inverted.
Bytes makeInkJpeg(
    int width, int height, const std::array<std::uint8_t, 4>& inks, bool adobe, const Bytes& profile = {});

/// A PNG with all its freedom: `sample` gives the value of a channel of a pixel.
struct PngWish {
    int width = 8;
    int height = 8;
    int depth = 8;
    int colorType = 2;
    int headerWidth = 0; ///< what the header says, if not the truth
    int headerHeight = 0;
    bool interlaced = false;
    int filter = 0; ///< 0 to 4, or 5: another one each row
    Bytes palette; ///< content of PLTE
    Bytes transparency; ///< content of tRNS
    Bytes profile; ///< ICC
    std::function<int(int x, int y, int channel)> sample;
};
Bytes makePng(const PngWish& wish);

struct GifWish {
    int screenWidth = 8;
    int screenHeight = 8;
    int x = 0;
    int y = 0;
    int width = 8;
    int height = 8;
    bool interlaced = false;
    int transparentIndex = -1;
    Bytes palette; ///< 3 bytes a colour, 256 at most
    std::function<int(int x, int y)> index;
};
Bytes makeGif(const GifWish& wish);

/// A BMP around given pixel bytes: header of `headerBytes`, then `extra` (masks, palette), then `pixels`.
struct BmpWish {
    int headerBytes = 40;
    int width = 8;
    int height = 8; ///< negative: top row first
    int depth = 24;
    int compression = 0;
    std::array<std::uint32_t, 4> masks {}; ///< stored in headers that have room for them
    Bytes extra;
    Bytes pixels;
};
Bytes makeBmp(const BmpWish& wish);

/// A matrix profile whose red and blue primaries are exchanged, so that its effect cannot be overlooked.
Bytes swappedProfile();
/// The platform library's own description of sRGB, as a file.
Bytes srgbProfile();

} // namespace mv::test
