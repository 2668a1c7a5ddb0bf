#pragma once

#include "mp4/MovieFacts.h"

namespace mv {

/// The number of samples that stsz or stz2 states; 0 without one.
std::uint32_t declaredSampleCount(StructureReader& reader, const TrackFacts& track);

/// Samples of a table, the first one being 0; those that there are not do not count.
struct SampleRange {
    std::uint64_t first = 0;
    std::uint64_t count = UINT64_MAX;
};

/// The bytes of the table's samples, fragments not counted. Of a table that states more rows than it holds, those that
/// it holds. Streams through the table. Saturates.
std::uint64_t tableBytes(StructureReader& reader, const TrackFacts& track, SampleRange range = {});

/// Sum of stts in media ticks; saturates.
std::uint64_t tableDuration(StructureReader& reader, const TrackFacts& track);

/// Average bits a second: sample bytes x 8,000 / duration in whole milliseconds, fractions of both cut off; 0 below one
/// millisecond, at most 2^32 - 1.
std::uint32_t averageBitRate(std::uint64_t bytes, std::uint32_t timeScale, std::uint64_t duration);

std::uint64_t saturatingAdd(std::uint64_t a, std::uint64_t b);
std::uint64_t saturatingMultiply(std::uint64_t a, std::uint64_t b);

} // namespace mv
