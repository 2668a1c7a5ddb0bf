#pragma once

#include "mp3/FrameStream.h"
#include "service/transcode/EncodedSound.h"

#include <functional>
#include <memory>
#include <vector>

namespace mv {

/// A stretch of sound for two channels, some whole frames of it but for the end.
struct SoundChunk {
    std::vector<std::int32_t> left;
    std::vector<std::int32_t> right;
};
using SharedChunk = std::shared_ptr<const SoundChunk>;

/// An encoder of the library that is closed after use.
using LameHandle = std::unique_ptr<lame_global_struct, std::function<void(lame_t)>>;

/// A part of a file's sound as one encoder of the library makes it. Used by one thread at a time.
class SegmentEncoder {
public:
    /// From the frame `first` of the file on; `frameSize` samples are a frame.
    SegmentEncoder(const LameLibrary& library, LameHandle lame, std::size_t first, std::size_t frameSize);

    /// The number of the frame whose sound is next.
    std::size_t position() const { return m_position; }
    /// Encodes `frames` frames of a chunk from one of its frames on, or up to its end. Negative where the library
    /// failed, or made what is no frames.
    int encode(const SoundChunk& chunk, std::size_t from, std::size_t frames);
    /// What is still inside. Nothing can be encoded after it.
    int flush();

    Mp3FrameStream& stream() { return m_stream; }
    std::size_t tagFrame(std::span<std::uint8_t> area) const;

private:
    int take(int result);

    const LameLibrary& m_library;
    LameHandle m_lame;
    std::size_t m_position;
    std::size_t m_frameSize;
    Mp3FrameStream m_stream;
    Bytes m_mp3;
};

} // namespace mv
