#pragma once

#include "platform/NSImage.h"

namespace mv::test {

/// A TIFF as libtiff reads it.
struct TiffPicture {
    int width = 0;
    int height = 0;
    int bits = 0;
    int samples = 0;
    int compression = 0;
    int photometric = 0;
    int extraSample = 0;
    int pages = 0;
    Bytes pixels; ///< samples as they are stored

    NSColor at(int x, int y) const
    {
        const std::uint8_t* pixel = &pixels[(static_cast<std::size_t>(y) * width + x) * samples];
        return { pixel[0], pixel[1], pixel[2], pixel[3] };
    }
};

/// Throws std::runtime_error for what libtiff does not read.
TiffPicture tiffPicture(const Bytes& bytes);

} // namespace mv::test
