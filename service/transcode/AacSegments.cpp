#include "service/transcode/AacSegments.h"

#include "audio/AudioBackend.h"
#include "audio/PlanarSamples.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

// Of those that an encoder that takes over makes before its first that can be used. After it has been hurried to where
// it spends bits like the other one it needs as many again for the two to come together.
constexpr std::uint32_t SettlingPackets = 20;
constexpr std::size_t ListeningFrames = 72;
constexpr std::size_t CandidateFrames = 24;

constexpr std::uint32_t FramesPerRead = 4096;

} // namespace

// The encoder writes its name into every 256th packet, which goes on over joints by that. The overlap of two segments
// is a little less than half a chunk.
SegmentShape AacSegments::shape(std::size_t frameSize)
{
    return { .frameSize = frameSize,
        .chunkFrames = 256,
        .minChunks = 2,
        .maxChunks = 40,
        .minSound = 6,
        .listeningFrames = ListeningFrames,
        .sharedFrames = ListeningFrames + CandidateFrames };
}

AacSegmentEncoder::AacSegmentEncoder(std::unique_ptr<AacEncoder> encoder, std::size_t first, std::uint32_t channels)
    : m_encoder(std::move(encoder))
    , m_first(first)
    , m_position(first)
    , m_frameSize(m_encoder->framesPerPacket())
    , m_stream(first, channels)
{
}

AacEncoder::PacketSink AacSegmentEncoder::sink()
{
    return [this](ByteView packet) {
        m_stream.append(packet);
        return Result<void> {};
    };
}

Result<void> AacSegmentEncoder::encode(const AacChunk& chunk, std::size_t from, std::size_t frames)
{
    std::size_t end = std::min(chunk.samples(), (from + frames) * m_frameSize);
    for (std::size_t sample = from * m_frameSize; sample < end; sample += m_frameSize) {
        std::array<const float*, AacSegments::MaxChannels> planes {};
        for (std::size_t channel = 0; channel < chunk.planes.size(); ++channel)
            planes[channel] = chunk.planes[channel].data() + sample;
        auto count = static_cast<std::uint32_t>(std::min(m_frameSize, end - sample));
        MV_TRY_VOID(m_encoder->encode(planes.data(), count, sink()));
        ++m_position;
    }
    return {};
}

Result<void> AacSegmentEncoder::flush()
{
    MV_TRY(samples, m_encoder->finish(sink()));
    m_samplesToEnd = m_first * m_frameSize + samples;
    return {};
}

AacSegments::AacSegments(MVExtAudioFile& source, const AacEncoderSettings& settings, std::unique_ptr<AacEncoder> first)
    : m_source(source)
    , m_settings(settings)
    , m_shape(shape(first->framesPerPacket()))
    , m_first(std::move(first))
{
}

std::shared_ptr<const AacChunk> AacSegments::readChunk()
{
    auto chunk = std::make_shared<AacChunk>();
    chunk->planes.assign(m_settings.channels, std::vector<float>(m_shape.chunkSamples()));
    std::size_t filled = 0;
    while (filled < m_shape.chunkSamples()) {
        auto wanted = std::min<std::size_t>(FramesPerRead, m_shape.chunkSamples() - filled);
        Bytes read = m_source.readDataWithNumberFrames(static_cast<std::uint32_t>(wanted));
        if (read.empty() || m_source.lastError() != noErr)
            break;
        std::array<float*, AacSegments::MaxChannels> planes {};
        for (std::size_t channel = 0; channel < m_settings.channels; ++channel)
            planes[channel] = chunk->planes[channel].data() + filled;
        std::size_t count = read.size() / (m_settings.channels * sizeof(float));
        deinterleave<float>(read.data(), count, m_settings.channels, planes.data(), finite);
        filled += count;
    }
    for (std::vector<float>& plane : chunk->planes)
        plane.resize(filled);
    return chunk;
}

Result<std::shared_ptr<AacSegmentEncoder>> AacSegments::makeEncoder(std::size_t first)
{
    if (first == 0)
        return std::make_shared<AacSegmentEncoder>(std::move(m_first), first, m_settings.channels);
    AacEncoderSettings settings = m_settings;
    settings.settlingPackets = SettlingPackets;
    MV_TRY(encoder, audioBackend().makeAacEncoder(settings));
    return std::make_shared<AacSegmentEncoder>(std::move(encoder), first, m_settings.channels);
}

std::optional<std::size_t> AacSegments::join(const AacSegmentEncoder& earlier, const AacSegmentEncoder& later,
    std::size_t kept, std::size_t begin, std::size_t end) const
{
    return findAacJoint(earlier.stream(), later.stream(), std::max(begin, kept + 1), end);
}

} // namespace mv
