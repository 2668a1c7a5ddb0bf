#pragma once

#include "Base/Core/Bytes.h"

#include <cstdint>
#include <optional>

namespace mv {

// The one form in which pictures leave the services: an uncompressed TIFF of red, green, blue and alpha, 8 bits each
// (in the format's words associated alpha, as readers have it), little endian. Its 8-byte header, the pixels in rows
// from the top left, then one directory, all of which but the pixels follows from width and height.

inline constexpr std::size_t TiffHeaderBytes = 8;
inline constexpr std::size_t TiffDirectoryBytes = 2 + 14 * 12 + 4 + 8 + 8;
inline constexpr std::size_t TiffPixelBytes = 4;
/// 256 MB, more than any picture that a phone takes at full size.
inline constexpr std::int64_t MaxTiffPixels = 64 << 20;

/// Makes the file whole that holds room for the header and width x height pixels, both sides at least 1.
void finishTiff(Bytes& file, int width, int height);

/// What is in such a file.
struct TiffPixels {
    int width = 0;
    int height = 0;
    ByteView pixels; ///< of the file
};

/// Nothing where a single byte beside the pixels is another than finishTiff writes.
std::optional<TiffPixels> pixelsOfTiff(ByteView file);

/// Such a file of those pixels, of which there are width x height, both sides at least 1.
Bytes tiffOfPixels(const TiffPixels& picture);

} // namespace mv
