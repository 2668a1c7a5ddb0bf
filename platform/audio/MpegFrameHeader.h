#pragma once

#include "Base/Core/Bytes.h"

#include <cstdint>
#include <optional>

namespace mv {

/// The four bytes that begin a frame of MPEG audio.
struct MpegFrameHeader {
    std::uint32_t sampleRate = 0; ///< Hz
    std::uint32_t channels = 0; ///< 1 or 2
    std::uint32_t samplesPerFrame = 0; ///< of each channel
    int layer = 0; ///< 1 to 3

    /// Nothing where no such header is. Free-format frames, whose size is not told, are refused.
    static std::optional<MpegFrameHeader> parse(ByteView bytes);
};

} // namespace mv
