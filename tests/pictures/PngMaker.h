#pragma once

#include "Base/Core/Bytes.h"

#include <functional>

namespace mv::test {

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

} // namespace mv::test
