#pragma once

#include "platform/NSImage.h"

#include <array>

namespace mv::test {

struct JpegWish {
    bool progressive = false;
    int sampling = 2; ///< 1: 4:4:4, 2: 4:2:0
    int samplingDown = 0; ///< 0: as across
    bool gray = false;
    int quality = 90;
    int restartInterval = 0; ///< units
    bool componentScans = false; ///< a scan for each component; of sequential files
    bool storedRgb = false; ///< red, green and blue as they are
    bool arithmetic = false;
    Bytes profile;
};
Bytes makeJpeg(const Bitmap& bitmap, const JpegWish& wish = {});
/// Four inks in JPEG's own colours, out of a picture; the fourth is its red channel. With the marker for that.
Bytes makeYcckJpeg(const Bitmap& bitmap, bool progressive);
/// Four inks of one colour (255 is full ink), with or without the marker that says they are stored inverted.
Bytes makeInkJpeg(
    int width, int height, const std::array<std::uint8_t, 4>& inks, bool adobe, const Bytes& profile = {});

} // namespace mv::test
