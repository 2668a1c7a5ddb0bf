#pragma once

#include "Base/Core/Bytes.h"
#include "id3/MpegHeader.h"

#include <cstdint>
#include <optional>

namespace mv {

/// What an encoder tells of the whole stream in its first frame: a Xing or Info table, with or without the part that
/// LAME began, or a VBRI table.
struct VbrHeader {
    std::optional<std::uint32_t> frames; ///< audio frames, this one not among them
    std::optional<std::uint32_t> bytes; ///< of the stream, this frame mostly among them
    std::uint32_t encoderDelay = 0; ///< samples that the encoder put before the first
    std::uint32_t endPadding = 0; ///< samples that it put behind the last

    /// Nothing when the frame is a plain audio frame. `frame` begins with the header.
    static std::optional<VbrHeader> parse(const MpegHeader& header, ByteView frame);

    /// Samples of the stream as it was before encoding; nothing without a frame count.
    std::optional<std::uint64_t> sampleCount(int samplesPerFrame) const;
};

} // namespace mv
