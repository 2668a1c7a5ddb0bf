#pragma once

#include "pictures/PictureReader.h"

#include <array>

namespace mv {

enum class BmpCoding { Plain, Rle8, Rle4 };

/// Everything of a BMP that stands before its pixels, of any header since OS/2 1.
struct BmpHeader {
    PictureHeader picture;
    int depth = 24; ///< bits a pixel: 1, 2, 4, 8 (palette), 16, 24, 32
    BmpCoding coding = BmpCoding::Plain;
    bool topDown = false;
    /// Which bits of a pixel of 16 or 32 hold red, green, blue and alpha; alpha 0 means opaque.
    std::array<std::uint32_t, 4> masks {};
    std::array<std::array<std::uint8_t, 3>, 256> colors {}; ///< places that the palette does not have are black
    std::uint64_t dataOffset = 0;

    std::uint64_t rowBytes() const { return (static_cast<std::uint64_t>(picture.width) * depth + 31) / 32 * 4; }
};

Result<BmpHeader> readBmpHeader(const ByteSource& source);

} // namespace mv
