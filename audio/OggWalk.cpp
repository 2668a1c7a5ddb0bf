#include "audio/OggPage.h"
#include "audio/StreamLength.h"

#include <algorithm>

namespace mv {

namespace {

constexpr std::size_t WindowSize = std::size_t { 1 } << 20;
// The longest block of Vorbis gives half of itself, the longest packet of Opus 120 ms.
constexpr std::uint64_t MaxFramesOfPacket = 5760;

/// What the pages so far have shown.
class StreamCheck {
public:
    /// False for a page that does not continue the stream.
    bool take(const OggPage& page)
    {
        bool first = m_pages == 0;
        if (page.number != m_pages || page.beginsStream != first || (!first && page.serial != m_serial))
            return false;
        if (first && !isKnown(page.body))
            return false;
        m_serial = page.serial;
        ++m_pages;
        m_packets += page.packetEnds;
        return page.granule == OggPage::NoGranule || takeGranule(page.granule);
    }

private:
    static bool isKnown(ByteView packet)
    {
        return charsOf(packet).starts_with("\x01vorbis") || charsOf(packet).starts_with("OpusHead");
    }
    // A recording that was cut out of a longer one counts from that one's begin.
    bool takeGranule(std::uint64_t granule)
    {
        bool sound = granule >= m_granule && (m_granule > 0 || granule <= m_packets * MaxFramesOfPacket);
        m_granule = granule;
        return sound;
    }

    std::uint32_t m_serial = 0;
    std::uint32_t m_pages = 0;
    std::uint64_t m_packets = 0;
    std::uint64_t m_granule = 0;
};

} // namespace

bool isWholeOggStream(const ByteSource& file)
{
    static_assert(WindowSize > OggPage::MaxSize);
    Bytes window(static_cast<std::size_t>(std::min<std::uint64_t>(file.size(), WindowSize)));
    StreamCheck check;
    std::uint64_t place = 0;
    while (place < file.size()) {
        auto got = file.readAt(place, window);
        if (!got)
            return false;
        ByteView bytes = ByteView(window).first(*got);
        auto page = OggPage::parse(bytes);
        if (!page)
            return false;
        for (; page; page = OggPage::parse(bytes)) {
            if (!check.take(*page))
                return false;
            place += page->size;
            bytes = bytes.subspan(page->size);
        }
    }
    return place > 0;
}

} // namespace mv
