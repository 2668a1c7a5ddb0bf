#pragma once

#include "Base/Core/Bytes.h"

#include <array>

namespace mv::test {

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

} // namespace mv::test
