#include "id3/FreeFormat.h"

#include "id3/FrameContent.h"

#include <algorithm>

namespace mv {

namespace {

// Above what any encoder writes.
constexpr int MaxBitrate = 640'000;
constexpr std::size_t MinFrame = 24;
// The first header, the second, which tells the size, and two that prove it; as many as any other format needs from
// there on.
constexpr int ProvingFrames = 4;
constexpr int MinFrames = 3;

/// The largest size of such a frame, padded or not, as this one says.
std::size_t maximumSize(const MpegHeader& header, bool isPadded)
{
    int slot = header.slotSize();
    int slots = header.samplesPerFrame * (MaxBitrate / 8) / (header.sampleRate * slot);
    return static_cast<std::size_t>((slots + (isPadded ? 1 : 0)) * slot);
}

/// Follows frames of one size through bytes.
class Chain {
public:
    Chain(const MpegHeader& first, ByteView bytes)
        : m_first(first)
        , m_bytes(bytes)
        , m_slot(static_cast<std::size_t>(first.slotSize()))
    {
    }

    std::optional<MpegHeader> headerAt(std::size_t place) const
    {
        auto header = MpegHeader::parse(m_bytes.subspan(std::min(place, m_bytes.size())));
        return header && header->continues(m_first) ? header : std::nullopt;
    }

    bool proves(std::size_t unpadded, bool reachesEnd) const
    {
        std::size_t place = 0;
        for (int frames = 0; frames < ProvingFrames; ++frames) {
            if (place + MpegHeader::Size > m_bytes.size())
                return reachesEnd && frames >= MinFrames;
            auto header = headerAt(place);
            std::size_t size = unpadded + (header && header->isPadded ? m_slot : 0);
            if (!header || !hasPossibleContent(*header, m_bytes.subspan(place), size))
                return false;
            place += size;
        }
        return true;
    }

private:
    const MpegHeader& m_first;
    ByteView m_bytes;
    std::size_t m_slot;
};

} // namespace

std::size_t freeFormatProofSize(const MpegHeader& header)
{
    return ProvingFrames * maximumSize(header, true) + MpegHeader::Size;
}

std::size_t freeFormatSize(const MpegHeader& header, ByteView bytes)
{
    bool reachesEnd = bytes.size() < freeFormatProofSize(header);
    Chain chain(header, bytes);
    std::size_t padding = header.isPadded ? static_cast<std::size_t>(header.slotSize()) : 0;
    std::size_t limit = std::min(bytes.size(), maximumSize(header, header.isPadded) + 1);
    for (std::size_t size = 1; size < limit; ++size) {
        if (bytes[size] != 0xFF || !chain.headerAt(size))
            continue;
        // Headers nearer than any frame is long are a pattern.
        if (size < MinFrame)
            return 0;
        bool isWhole = (size - padding) % static_cast<std::size_t>(header.slotSize()) == 0;
        if (isWhole && chain.proves(size - padding, reachesEnd))
            return size;
    }
    return 0;
}

} // namespace mv
