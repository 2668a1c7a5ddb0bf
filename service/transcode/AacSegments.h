#pragma once

#include "audio/AacEncoder.h"
#include "audio/AacStream.h"
#include "service/transcode/MVExtAudioFile.h"
#include "service/transcode/SegmentPlan.h"

namespace mv {

/// A stretch of sound, a plane of floating-point samples for each channel.
struct AacChunk {
    std::vector<std::vector<float>> planes;

    std::size_t samples() const { return planes.front().size(); }
};

/// A part of a file's sound as one encoder makes it. Used by one thread at a time. The code of an error is an OSStatus.
class AacSegmentEncoder {
public:
    /// From the frame `first` of the file on.
    AacSegmentEncoder(std::unique_ptr<AacEncoder> encoder, std::size_t first, std::uint32_t channels);

    std::size_t position() const { return m_position; }
    std::size_t end() const { return m_stream.end(); }
    Result<void> encode(const AacChunk& chunk, std::size_t from, std::size_t frames);
    Result<void> flush();

    const AacStream& stream() const { return m_stream; }
    /// Samples of the file up to the end of the sound, when it was flushed.
    std::uint64_t samplesToEnd() const { return m_samplesToEnd; }

private:
    AacEncoder::PacketSink sink();

    std::unique_ptr<AacEncoder> m_encoder;
    std::size_t m_first;
    std::size_t m_position;
    std::size_t m_frameSize;
    AacStream m_stream;
    std::uint64_t m_samplesToEnd = 0;
};

/// What several encoders make one AAC stream of (SegmentLine.h). A frame is what a packet has of new sound; packets
/// have the numbers of their frames, which are decoded one packet later.
class AacSegments {
public:
    using Chunk = AacChunk;
    using Encoder = AacSegmentEncoder;

    static constexpr std::size_t MaxChannels = 2;
    static SegmentShape shape(std::size_t frameSize);

    /// `first`, made with the settings, makes the first segment. The source gives floats.
    AacSegments(MVExtAudioFile& source, const AacEncoderSettings& settings, std::unique_ptr<AacEncoder> first);

    std::shared_ptr<const AacChunk> readChunk();
    Result<std::shared_ptr<AacSegmentEncoder>> makeEncoder(std::size_t first);
    std::optional<std::size_t> join(const AacSegmentEncoder& earlier, const AacSegmentEncoder& later, std::size_t kept,
        std::size_t begin, std::size_t end) const;

private:
    MVExtAudioFile& m_source;
    const AacEncoderSettings m_settings;
    const SegmentShape m_shape;
    std::unique_ptr<AacEncoder> m_first; // until it is used
};

} // namespace mv
