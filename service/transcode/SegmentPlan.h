#pragma once

#include <cstddef>
#include <cstdint>

namespace mv {

/// How a file's sound is cut for several encoders, in chunks of ChunkFrames frames.
class SegmentPlan {
public:
    /// The padding of frames of a fixed bit rate comes round after so many at the latest: at 44.1 kHz and the rates
    /// below it after 49 or a part of that, at all others after 1.
    static constexpr std::size_t ChunkFrames = 49;

    /// False for sound that is announced to be so short that there is nothing to share out.
    static bool isWorthwhile(std::int64_t frames, std::size_t frameSize);

    /// For 1 to MaxEncodingCores cores. `frames` is what the file announces of its sound, 0 when that is not known.
    SegmentPlan(unsigned cores, std::uint64_t frames, std::size_t frameSize);

    unsigned cores() const { return m_cores; }
    /// Segments that may wait for their turn, be encoded or wait to be joined, at once.
    std::size_t segmentsAtOnce() const { return m_cores + 2; }
    /// Chunks of the segment with that number and first chunk, without the one in which the next segment begins.
    std::size_t chunks(std::size_t segment, std::size_t firstChunk) const;

private:
    unsigned m_cores;
    std::size_t m_total; // chunks; 0 for unknown
    std::size_t m_max; // chunks of a segment
};

} // namespace mv
