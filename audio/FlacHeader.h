#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Result.h"

#include <cstdint>
#include <optional>

namespace mv {

/// The STREAMINFO block, the first of every FLAC stream.
struct FlacStreamInfo {
    static constexpr std::size_t Size = 34; ///< bytes, without the block's own header of 4

    std::uint32_t minimumBlock = 0; ///< frames of audio in a block
    std::uint32_t maximumBlock = 0;
    std::uint32_t sampleRate = 0; ///< Hz
    std::uint32_t channels = 0; ///< 1 to 8
    std::uint32_t bitsPerSample = 0; ///< 4 to 32
    std::uint64_t totalFrames = 0; ///< 0 for unknown

    /// From "fLaC" on (42 bytes). Unsupported where the marker is not there, Format where the block is damaged.
    static Result<FlacStreamInfo> parse(ByteView start);
};

/// The header of one frame of audio; its place in the stream tells the length up to its end.
struct FlacFrameHeader {
    std::size_t size = 0; ///< bytes of the header with its checksum
    std::uint64_t firstSample = 0;
    std::uint32_t blockSize = 0;

    std::uint64_t endSample() const { return firstSample + blockSize; }

    /// The header at the front of `bytes`, nothing where none is: the checksum must be right and rate, channels and
    /// depth those of the stream.
    static std::optional<FlacFrameHeader> parse(ByteView bytes, const FlacStreamInfo& info);
};

/// The format's checksums: polynomials 0x07 and 0x8005, started with 0. Over data and the checksum that follows it
/// they are 0.
std::uint8_t flacCrc8(ByteView bytes);
std::uint16_t flacCrc16(std::uint16_t state, ByteView bytes);

} // namespace mv
