#pragma once

#include "Base/Core/Result.h"
#include "mp3/FrameStream.h"
#include "service/transcode/EncodedSound.h"
#include "service/transcode/MVAudioDecoder.h"
#include "service/transcode/SegmentPlan.h"

#include <functional>
#include <memory>
#include <vector>

namespace mv {

/// A stretch of sound for two channels, some whole frames of it but for the end.
struct Mp3Chunk {
    std::vector<std::int32_t> left;
    std::vector<std::int32_t> right;

    std::size_t samples() const { return left.size(); }
};

/// An encoder of the library that is closed after use.
using LameHandle = std::unique_ptr<lame_global_struct, std::function<void(lame_t)>>;

/// A part of a file's sound as one encoder of the library makes it. Used by one thread at a time. The code of an error
/// is the library's number, or a negative one of our own where it made what is no frames.
class Mp3SegmentEncoder {
public:
    /// From the frame `first` of the file on; `frameSize` samples are a frame.
    Mp3SegmentEncoder(const LameLibrary& library, LameHandle lame, std::size_t first, std::size_t frameSize);

    std::size_t position() const { return m_position; }
    std::size_t end() const { return m_stream.end(); }
    Result<void> encode(const Mp3Chunk& chunk, std::size_t from, std::size_t frames);
    Result<void> flush();

    Mp3FrameStream& stream() { return m_stream; }
    std::size_t tagFrame(std::span<std::uint8_t> area) const;

private:
    Result<void> take(int result);

    const LameLibrary& m_library;
    LameHandle m_lame;
    std::size_t m_position;
    std::size_t m_frameSize;
    Mp3FrameStream m_stream;
    Bytes m_mp3;
};

/// What several encoders of the library make one MP3 file of (SegmentLine.h).
class Mp3Segments {
public:
    using Chunk = Mp3Chunk;
    using Encoder = Mp3SegmentEncoder;
    /// An encoder of the library that is set up like all others, or null.
    using MakeLame = std::function<LameHandle()>;

    static SegmentShape shape(std::size_t frameSize);

    /// `first` makes the first segment, `makeLame`, called on any thread, the others. The decoder gives samples of 32
    /// bits for two channels.
    Mp3Segments(MVAudioDecoderBase& decoder, const LameLibrary& library, LameHandle first, MakeLame makeLame,
        std::size_t frameSize);

    std::shared_ptr<const Mp3Chunk> readChunk();
    Result<std::shared_ptr<Mp3SegmentEncoder>> makeEncoder(std::size_t first);
    std::optional<std::size_t> join(Mp3SegmentEncoder& earlier, Mp3SegmentEncoder& later, std::size_t kept,
        std::size_t begin, std::size_t end) const;

private:
    MVAudioDecoderBase& m_decoder;
    const LameLibrary& m_library;
    LameHandle m_firstLame; // until it is used
    const MakeLame m_makeLame;
    const std::size_t m_frameSize;

    // The reading thread's.
    Bytes m_pcm;
    SampleBlock m_block {};
    std::uint32_t m_blockFrames = 0; // of m_block, of them
    std::uint32_t m_blockUsed = 0; // went into a chunk
};

} // namespace mv
