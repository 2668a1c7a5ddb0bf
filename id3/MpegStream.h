#pragma once

#include "id3/MpegHeader.h"
#include "system/SourceWindow.h"

#include <optional>

namespace mv {

/// A frame's place, header and size.
struct MpegFrame {
    std::uint64_t offset = 0;
    MpegHeader header;
    std::size_t size = 0;
    std::uint64_t end() const { return offset + size; }
};

/// Frames one after another, found by their headers.
class MpegStream {
public:
    /// Headers in a row, each where the one before says, that prove a stream: chance makes three once in 2^45 bytes.
    static constexpr int ProvingFrames = 3;
    /// What a window has to show at once for a search through it not to read again and again.
    static constexpr std::size_t SearchStep = std::size_t { 32 } << 10;

    /// A stream whose frames of the free format are known to have this size, padding aside; 0 where there are none:
    /// then headers of that format are none.
    explicit MpegStream(SourceWindow& window, std::size_t freeFormatSize = 0)
        : m_window(window)
        , m_freeFormatSize(freeFormatSize)
    {
    }

    std::uint64_t end() const { return m_window.end(); }
    /// The header at a place, its frame's size with it; does not look at other frames.
    std::optional<MpegFrame> frameAt(std::uint64_t offset);
    /// The first frame of a stream of the free format, where one begins; from then on its frames are known.
    std::optional<MpegFrame> beginFreeFormat(std::uint64_t offset);
    std::size_t freeFormatSize() const { return m_freeFormatSize; }
    /// The same behind a frame of the same stream.
    std::optional<MpegFrame> frameBehind(const MpegFrame& frame);

    struct Chain {
        int frames = 0; ///< headers that follow each other, the first included, at most ProvingFrames
        bool reachesEnd = false; ///< no further header fits behind the last
    };
    Chain chainFrom(const MpegFrame& first);

    /// The first place in [from, until) where a proven chain begins, or a chain of two or more that reaches the end.
    std::optional<MpegFrame> findProven(std::uint64_t from, std::uint64_t until);
    /// The next place in [from, until) of sync bits: FF and E0 or more.
    std::optional<std::uint64_t> findSync(std::uint64_t from, std::uint64_t until);

private:
    std::size_t sizeOf(const MpegHeader& header) const;
    bool isPossible(const MpegFrame& frame);

    SourceWindow& m_window;
    std::size_t m_freeFormatSize; // without padding
};

} // namespace mv
