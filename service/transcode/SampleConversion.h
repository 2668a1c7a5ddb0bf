#pragma once

#include "Base/Core/Bytes.h"
#include "audio/AudioFile.h"

#include <cstdint>

namespace mv {

/// Bytes of a sample in a block of `byteSize` bytes and `frames` (not 0) frames: the data is always taken as two
/// channels, so half of a frame, and 4 where that is none of 1 to 3.
std::uint32_t sampleWidth(std::uint32_t byteSize, std::uint32_t frames);

/// Splits interleaved samples into two channels of 32-bit samples with their most significant bit on top. Width 1 and
/// 2 are signed integers in native order, 3 three bytes most significant first, 4 32-bit samples as they are.
/// `area` is the memory of the block, of which `byteSize` bytes were filled; it has room for 8 bytes a frame.
/// `samples` takes up to 1152 frames of two channels. Nothing for 0 frames.
void buildSampleBlock(ByteView area, std::uint32_t byteSize, std::uint32_t frames, std::int32_t (&samples)[2][1152]);

/// The same for the list's first buffer, which must have room for 8 bytes a frame.
void buildBufferFrameCountBuffer(
    const AudioBufferList& list, std::uint32_t frameCount, std::int32_t (&buffer)[2][1152]);

} // namespace mv
