#include "service/transcode/Mp3Segments.h"

#include "mp3/FrameJoint.h"
#include "service/transcode/SampleConversion.h"

#include <algorithm>
#include <utility>

namespace mv {

namespace {

// The library's own number for what has no other.
constexpr int GenericFailure = -2;
// Below its numbers, which are few.
constexpr int NoFrames = -100;

Error libraryError(int code) { return { Error::Kind::State, "the encoder failed", code }; }

} // namespace

// The padding of frames of a fixed bit rate comes round after 49 at the latest: at 44.1 kHz and the rates below it
// after 49 or a part of that, at all others after 1. A later encoder's filters know nothing of what was before, its ear
// is at rest and its reservoir of bits empty; the earlier one is some frames ahead with what it takes in. Segments of
// fewer than 6 chunks would lose more by the overlap than waiting for the last one does, and at a minute the overlap is
// a sixtieth.
SegmentShape Mp3Segments::shape(std::size_t frameSize)
{
    return { .frameSize = frameSize,
        .chunkFrames = 49,
        .minChunks = 3,
        .maxChunks = 47,
        .minSound = 12,
        .listeningFrames = 24,
        .sharedFrames = 40 };
}

Mp3SegmentEncoder::Mp3SegmentEncoder(
    const LameLibrary& library, LameHandle lame, std::size_t first, std::size_t frameSize)
    : m_library(library)
    , m_lame(std::move(lame))
    , m_position(first)
    , m_frameSize(frameSize)
    , m_stream(first)
    , m_mp3(Mp3BufferSize)
{
}

Result<void> Mp3SegmentEncoder::encode(const Mp3Chunk& chunk, std::size_t from, std::size_t frames)
{
    std::size_t end = std::min(chunk.left.size(), (from + frames) * m_frameSize);
    for (std::size_t sample = from * m_frameSize; sample < end; sample += m_frameSize) {
        int count = static_cast<int>(std::min(m_frameSize, end - sample));
        MV_TRY_VOID(take(m_library.encodeBufferInt(m_lame.get(), chunk.left.data() + sample,
            chunk.right.data() + sample, count, m_mp3.data(), static_cast<int>(m_mp3.size()))));
        ++m_position;
    }
    return {};
}

Result<void> Mp3SegmentEncoder::flush()
{
    MV_TRY_VOID(take(m_library.encodeFlush(m_lame.get(), m_mp3.data(), static_cast<int>(m_mp3.size()))));
    return m_stream.isWhole() ? Result<void> {} : libraryError(NoFrames);
}

Result<void> Mp3SegmentEncoder::take(int result)
{
    if (result < 0)
        return libraryError(result);
    auto size = std::min(static_cast<std::size_t>(result), m_mp3.size());
    return m_stream.append(ByteView(m_mp3).first(size)) ? Result<void> {} : libraryError(NoFrames);
}

std::size_t Mp3SegmentEncoder::tagFrame(std::span<std::uint8_t> area) const
{
    return m_library.getLametagFrame(m_lame.get(), area.data(), area.size());
}

Mp3Segments::Mp3Segments(
    MVAudioDecoderBase& decoder, const LameLibrary& library, LameHandle first, MakeLame makeLame, std::size_t frameSize)
    : m_decoder(decoder)
    , m_library(library)
    , m_firstLame(std::move(first))
    , m_makeLame(std::move(makeLame))
    , m_frameSize(frameSize)
    , m_pcm(frameSize * 2 * sizeof(std::int32_t))
{
}

std::shared_ptr<const Mp3Chunk> Mp3Segments::readChunk()
{
    auto chunk = std::make_shared<Mp3Chunk>();
    const std::size_t whole = shape(m_frameSize).chunkSamples();
    chunk->left.reserve(whole);
    chunk->right.reserve(whole);
    while (chunk->left.size() < whole) {
        if (m_blockUsed == m_blockFrames) {
            AudioBufferList list { 1, { { 2, static_cast<std::uint32_t>(m_pcm.size()), m_pcm.data() } } };
            std::int32_t frames = m_decoder.readPCMSampleCount(&list, static_cast<std::uint32_t>(m_frameSize));
            if (frames <= 0)
                break;
            m_blockFrames = std::min(static_cast<std::uint32_t>(frames), static_cast<std::uint32_t>(m_frameSize));
            m_blockUsed = 0;
            buildSampleBlock(m_pcm, m_blockFrames * 2 * sizeof(std::int32_t), m_blockFrames, m_block);
        }
        auto count = std::min<std::size_t>(whole - chunk->left.size(), m_blockFrames - m_blockUsed);
        chunk->left.insert(chunk->left.end(), m_block[0] + m_blockUsed, m_block[0] + m_blockUsed + count);
        chunk->right.insert(chunk->right.end(), m_block[1] + m_blockUsed, m_block[1] + m_blockUsed + count);
        m_blockUsed += static_cast<std::uint32_t>(count);
    }
    return chunk;
}

Result<std::shared_ptr<Mp3SegmentEncoder>> Mp3Segments::makeEncoder(std::size_t first)
{
    LameHandle lame = first == 0 ? std::move(m_firstLame) : m_makeLame();
    if (!lame)
        return libraryError(GenericFailure);
    return std::make_shared<Mp3SegmentEncoder>(m_library, std::move(lame), first, m_frameSize);
}

std::optional<std::size_t> Mp3Segments::join(
    Mp3SegmentEncoder& earlier, Mp3SegmentEncoder& later, std::size_t kept, std::size_t begin, std::size_t end) const
{
    auto found = findJoint(earlier.stream(), later.stream(), kept, begin, end);
    if (found)
        joinAt(*found, earlier.stream(), later.stream());
    return found;
}

} // namespace mv
