#pragma once

#include "Base/Core/Bytes.h"

#include <cstdint>

namespace mv {

/// A colour in sRGB, 8 bits a channel, alpha not multiplied in.
struct Color {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t alpha = 255;

    static constexpr Color white() { return { 255, 255, 255, 255 }; }
    static constexpr Color black() { return { 0, 0, 0, 255 }; }
    bool operator==(const Color&) const = default;
};

/// Pixels as sRGB, 8 bits a channel, 4 channels (red, green, blue, alpha not multiplied in), rows from the top
/// without padding.
struct Bitmap {
    int width = 0;
    int height = 0;
    Bytes pixels;
};

} // namespace mv
