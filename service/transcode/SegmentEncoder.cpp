#include "service/transcode/SegmentEncoder.h"

#include <algorithm>
#include <utility>

namespace mv {

namespace {

// Below the library's own numbers, which are few.
constexpr int NoFrames = -100;

} // namespace

SegmentEncoder::SegmentEncoder(const LameLibrary& library, LameHandle lame, std::size_t first, std::size_t frameSize)
    : m_library(library)
    , m_lame(std::move(lame))
    , m_position(first)
    , m_frameSize(frameSize)
    , m_stream(first)
    , m_mp3(Mp3BufferSize)
{
}

int SegmentEncoder::encode(const SoundChunk& chunk, std::size_t from, std::size_t frames)
{
    std::size_t end = std::min(chunk.left.size(), (from + frames) * m_frameSize);
    for (std::size_t sample = from * m_frameSize; sample < end; sample += m_frameSize) {
        int count = static_cast<int>(std::min(m_frameSize, end - sample));
        int result = take(m_library.encodeBufferInt(m_lame.get(), chunk.left.data() + sample,
            chunk.right.data() + sample, count, m_mp3.data(), static_cast<int>(m_mp3.size())));
        if (result < 0)
            return result;
        ++m_position;
    }
    return 0;
}

int SegmentEncoder::flush()
{
    int result = take(m_library.encodeFlush(m_lame.get(), m_mp3.data(), static_cast<int>(m_mp3.size())));
    return result < 0 || m_stream.isWhole() ? result : NoFrames;
}

int SegmentEncoder::take(int result)
{
    if (result < 0)
        return result;
    auto size = std::min(static_cast<std::size_t>(result), m_mp3.size());
    return m_stream.append(ByteView(m_mp3).first(size)) ? 0 : NoFrames;
}

std::size_t SegmentEncoder::tagFrame(std::span<std::uint8_t> area) const
{
    return m_library.getLametagFrame(m_lame.get(), area.data(), area.size());
}

} // namespace mv
