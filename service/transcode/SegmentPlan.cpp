#include "service/transcode/SegmentPlan.h"

#include "service/include/EncodingWish.h"

#include <algorithm>

namespace mv {

namespace {

// An overlap costs most of a chunk. Shorter segments would lose more by that than waiting for the last one does.
constexpr std::size_t MinChunks = 6;
// A minute: by then the overlap is a sixtieth.
constexpr std::size_t MaxChunks = 47;
// Of samples that are not yet joined. A closed process has 512 MB for everything.
constexpr std::size_t MaxBytes = std::size_t { 160 } << 20;
constexpr std::size_t SampleBytes = 2 * sizeof(std::int32_t);

// A quarter of a minute.
constexpr std::size_t MinSound = 12;

} // namespace

bool SegmentPlan::isWorthwhile(std::int64_t frames, std::size_t frameSize)
{
    return frames <= 0 || static_cast<std::uint64_t>(frames) >= MinSound * ChunkFrames * frameSize;
}

SegmentPlan::SegmentPlan(unsigned cores, std::uint64_t frames, std::size_t frameSize)
    : m_cores(std::clamp(cores, 1u, MaxEncodingCores))
    , m_total(static_cast<std::size_t>(frames / (ChunkFrames * frameSize)))
    , m_max(std::clamp(MaxBytes / (segmentsAtOnce() * ChunkFrames * frameSize * SampleBytes), MinChunks, MaxChunks))
{
}

// The first ones are short, so that no encoder waits long for its first; and so are the last ones, so that all end at
// nearly the same time.
std::size_t SegmentPlan::chunks(std::size_t segment, std::size_t firstChunk) const
{
    std::size_t most = std::min(m_max, MinChunks << std::min<std::size_t>(segment, 8));
    if (m_total == 0)
        return most;
    std::size_t left = m_total > firstChunk ? m_total - firstChunk : 0;
    return std::clamp(2 * left / (3 * m_cores) + 1, MinChunks, most);
}

} // namespace mv
