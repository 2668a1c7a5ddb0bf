#pragma once

#include "Base/Core/Bytes.h"

#include <functional>

namespace mv::test {

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
    std::size_t blockBytes = 255; ///< of compressed pixels a block
    std::function<int(int x, int y)> index;
};
Bytes makeGif(const GifWish& wish);

} // namespace mv::test
