#pragma once

#include "pictures/PictureReader.h"

#include <array>

namespace mv {

/// Everything of a PNG that stands before its pixels.
struct PngHeader {
    PictureHeader picture;
    int depth = 8; ///< bits a sample
    int samples = 3; ///< a pixel in the file: gray 1, gray and alpha 2, colour 3, colour and alpha 4, palette 1
    bool palette = false;
    bool interlaced = false;
    bool hasTransparent = false; ///< one gray or colour value that counts as transparent
    std::array<std::uint16_t, 3> transparent {};
    std::array<std::array<std::uint8_t, 4>, 256> colors {}; ///< of a palette; places it does not have are black
    std::uint64_t dataOffset = 0; ///< of the first chunk of pixel data

    std::size_t rowBytes(int width) const { return (static_cast<std::size_t>(width) * samples * depth + 7) / 8; }
    /// Distance of the byte that a filter takes for the left neighbour.
    std::size_t filterDistance() const
    {
        return static_cast<std::size_t>(samples * depth < 8 ? 1 : samples * depth / 8);
    }
};

Result<PngHeader> readPngHeader(const ByteSource& source);

} // namespace mv
