#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mv {

/// How the sound for one format can be cut.
struct SegmentShape {
    std::size_t frameSize; ///< samples that make a frame
    std::size_t chunkFrames; ///< segments begin at multiples of so many frames
    std::size_t minChunks; ///< of a segment: an overlap costs a part of a chunk
    std::size_t maxChunks; ///< of a segment, where memory has room
    std::size_t minSound; ///< chunks that are worth sharing out

    // Of the chunk that two segments have in common. In the first part the later encoder listens itself in, in the
    // second part a joint is looked for.
    std::size_t listeningFrames;
    std::size_t sharedFrames; ///< both parts, and less than a chunk

    std::size_t chunkSamples() const { return chunkFrames * frameSize; }
};

/// How a file's sound is cut for several encoders: into rounds of as many equal segments as there are cores. A round
/// has three quarters of what is left, as far as memory has room, and the last one all of it. So the encoders end at
/// nearly the same time, also where one of them was slower than the others, and few joints are made.
class SegmentPlan {
public:
    /// False for sound that is announced to be so short that there is nothing to share out.
    static bool isWorthwhile(std::int64_t samples, const SegmentShape& shape);

    /// For 1 to MaxEncodingCores cores. `samples` is what the file announces of its sound, 0 when that is not known.
    SegmentPlan(unsigned cores, std::uint64_t samples, const SegmentShape& shape);

    unsigned cores() const { return m_cores; }
    const SegmentShape& shape() const { return m_shape; }
    /// Segments that may wait for their turn, be encoded or wait to be joined, at once.
    std::size_t segmentsAtOnce() const { return m_cores + 2; }
    /// Chunks of the segment with that number, without the one in which the next segment begins. There is one for every
    /// number: a file may have more sound than it announces.
    std::size_t chunks(std::size_t segment) const;

private:
    unsigned m_cores;
    SegmentShape m_shape;
    std::size_t m_max; // chunks of a segment
    std::vector<std::size_t> m_chunks; // of the segments of what is announced
};

} // namespace mv
