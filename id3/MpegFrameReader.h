#pragma once

#include "id3/MpegHeader.h"
#include "system/ByteSource.h"

#include <optional>

namespace mv {

/// The facts of an MPEG audio stream.
struct MpegAudioFacts {
    std::uint64_t firstFrame = 0; ///< its place in the file
    MpegHeader header; ///< the first frame's; of the free format with the bit rate that the frames' distance tells
    double seconds = 0; ///< of the sound before encoding where the encoder tells what it added, else of all frames
    std::int32_t wholeSeconds() const; ///< rounded to the nearest, half a second up
};

/// Finds the first frame between two places of a file and measures the stream.
///
/// A header counts only in company: the frames behind it must follow where their sizes say, so that sync bits in
/// pictures, text and padding are passed over. A lone frame counts where the file leaves no room for company, right at
/// the begin, and where it holds an encoder's table. A stream of the free format, whose headers do not tell where the
/// next is, counts right at the begin only, and takes more proof.
///
/// The length comes, in this order, from the encoder's table in the first frame (Xing, Info, VBRI) when that agrees
/// with the file; for streams of one bit rate from their size; else from a walk over all headers. A table that speaks
/// of more than the file holds is believed: the file is then the front of a longer stream. One that speaks of less is
/// not: files are joined.
class MpegFrameReader {
public:
    /// How far the first frame is searched. Far above any garbage between a tag and its audio.
    static constexpr std::uint64_t MaxSearch = std::uint64_t { 16 } << 20;
    /// How much is walked through; the rest of larger streams is taken to be like it. Over six hours at 320 kbit/s.
    static constexpr std::uint64_t MaxWalk = std::uint64_t { 1 } << 30;
    /// Streams up to this size are walked through, larger ones looked into at intervals first.
    static constexpr std::uint64_t SmallStream = std::uint64_t { 512 } << 10;

    /// Nothing when there is no MPEG audio, or the source fails.
    static std::optional<MpegAudioFacts> read(const ByteSource& source, std::uint64_t begin, std::uint64_t end);
};

} // namespace mv
