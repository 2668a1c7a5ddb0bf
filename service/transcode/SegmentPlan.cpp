#include "service/transcode/SegmentPlan.h"

#include "service/include/EncodingWish.h"

#include <algorithm>

namespace mv {

namespace {

// Of samples that are not yet joined. A closed process has 512 MB for everything.
constexpr std::size_t MaxBytes = std::size_t { 160 } << 20;
// Of two channels.
constexpr std::size_t SampleBytes = 8;

} // namespace

bool SegmentPlan::isWorthwhile(std::int64_t samples, const SegmentShape& shape)
{
    return samples <= 0 || static_cast<std::uint64_t>(samples) >= shape.minSound * shape.chunkSamples();
}

SegmentPlan::SegmentPlan(unsigned cores, std::uint64_t samples, const SegmentShape& shape)
    : m_cores(std::clamp(cores, 1u, MaxEncodingCores))
    , m_shape(shape)
    , m_total(static_cast<std::size_t>(samples / shape.chunkSamples()))
    , m_max(std::clamp(
          MaxBytes / (segmentsAtOnce() * shape.chunkSamples() * SampleBytes), shape.minChunks, shape.maxChunks))
{
}

// The first ones are short, so that no encoder waits long for its first; and so are the last ones, so that all end at
// nearly the same time.
std::size_t SegmentPlan::chunks(std::size_t segment, std::size_t firstChunk) const
{
    std::size_t most = m_shape.minChunks;
    for (; segment > 0 && most < m_max; --segment)
        most *= m_shape.growth;
    most = std::min(m_max, most);
    if (m_total == 0)
        return most;
    std::size_t left = m_total > firstChunk ? m_total - firstChunk : 0;
    return std::clamp(m_shape.tailThirds * left / (3 * m_cores) + 1, m_shape.minChunks, most);
}

} // namespace mv
