#pragma once

#include "Base/Core/Bytes.h"

#include <cstdint>
#include <string_view>

namespace mv {

enum class ThumbnailFormat : std::uint8_t {
    Png = 1,
    Jpeg, ///< alpha over white
    Rgba, ///< 8 bits a channel, not multiplied in, rows without gaps
};
inline constexpr ThumbnailFormat LastThumbnailFormat = ThumbnailFormat::Rgba;

/// How a thumbnail is wanted: it fits into a square, keeps its proportions, and is never enlarged.
struct ThumbnailWish {
    std::uint32_t size = 256; ///< pixels, of the square's sides
    bool upright = true; ///< turned as the file says
    ThumbnailFormat format = ThumbnailFormat::Png;

    bool operator==(const ThumbnailWish&) const = default;
};
inline constexpr std::uint32_t MaxThumbnailSize = 2048;

/// A thumbnail in the form that was wanted.
struct Thumbnail {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    Bytes data;
};

} // namespace mv
