#include "service/transcode/SegmentPlan.h"

#include "service/include/EncodingWish.h"

#include <algorithm>

namespace mv {

namespace {

// Of samples that are not yet joined. A closed process has 512 MB for everything.
constexpr std::size_t MaxBytes = std::size_t { 160 } << 20;
// Of two channels.
constexpr std::size_t SampleBytes = 8;
// What announces more, some weeks, is cut as if it announced nothing.
constexpr std::size_t MaxPlannedChunks = std::size_t { 1 } << 20;

std::size_t divideUp(std::size_t number, std::size_t by) { return (number + by - 1) / by; }

} // namespace

bool SegmentPlan::isWorthwhile(std::int64_t samples, const SegmentShape& shape)
{
    return samples <= 0 || static_cast<std::uint64_t>(samples) >= shape.minSound * shape.chunkSamples();
}

SegmentPlan::SegmentPlan(unsigned cores, std::uint64_t samples, const SegmentShape& shape)
    : m_cores(std::clamp(cores, 1u, MaxEncodingCores))
    , m_shape(shape)
    , m_max(std::clamp(
          MaxBytes / (segmentsAtOnce() * shape.chunkSamples() * SampleBytes), shape.minChunks, shape.maxChunks))
{
    auto left = static_cast<std::size_t>(samples / shape.chunkSamples());
    if (left > MaxPlannedChunks)
        return;
    while (left > 0) {
        const std::size_t part = divideUp(left, m_cores);
        const bool isLastRound = part <= 4 * m_shape.minChunks;
        for (unsigned core = 0; core < m_cores && left > 0; ++core) {
            std::size_t wanted = isLastRound ? divideUp(left, m_cores - core) : part * 3 / 4;
            m_chunks.push_back(std::min(left, std::clamp(wanted, m_shape.minChunks, m_max)));
            left -= m_chunks.back();
        }
    }
}

// Where nothing is announced it may be short.
std::size_t SegmentPlan::chunks(std::size_t segment) const
{
    constexpr std::size_t MaxDoublings = 8;
    if (segment < m_chunks.size())
        return m_chunks[segment];
    return std::min(m_max, m_shape.minChunks << std::min(segment, MaxDoublings));
}

} // namespace mv
