#include "service/tagedit/OggChange.h"

#include "Base/Core/ByteReader.h"
#include "Base/Media/TagLimits.h"
#include "audio/OggPage.h"
#include "service/tagedit/VorbisChange.h"
#include "system/SourceWindow.h"

#include <algorithm>
#include <optional>

namespace mv {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t HeaderSize = 27;
constexpr std::size_t FlagsOffset = 5;
constexpr std::size_t NumberOffset = 18;
constexpr std::size_t ChecksumOffset = 22;
constexpr std::uint8_t Continues = 1;
constexpr std::uint8_t EndsStream = 4;
constexpr std::size_t MaxSegments = 255;
constexpr std::size_t FullSegment = 255;
constexpr std::size_t WindowStep = std::size_t { 1 } << 20;

Error unsupported(const char* text) { return { Error::Kind::Unsupported, text }; }

/// What stands in front of the comments in their packet, and how many packets are headers.
struct Codec {
    std::string_view start; ///< of the stream's first packet
    std::string_view comments;
    std::size_t headers; ///< behind the first
};
constexpr Codec Codecs[] = {
    { "\x01vorbis"sv, "\x03vorbis"sv, 2 },
    { "OpusHead"sv, "OpusTags"sv, 1 },
};

bool isPictures(std::string_view packet)
{
    return packet.starts_with("\x80theora"sv) || packet.starts_with("BBCD"sv) || packet.starts_with("\x01video"sv)
        || packet.starts_with("OVP80"sv);
}

/// A page and where it lies.
struct PlacedPage {
    OggPage page;
    std::uint64_t offset = 0;
    ByteView bytes;

    std::uint8_t flags() const { return bytes[FlagsOffset]; }
    ByteView lacing() const { return bytes.subspan(HeaderSize, bytes[HeaderSize - 1]); }
};

/// The pages of a file, from the first on. What lies between them is stepped over, as players do.
class PageWalk {
public:
    explicit PageWalk(const ByteSource& source)
        : m_window(source, source.size(), WindowStep)
    {
    }

    /// Nothing at the end, or where nothing can be read. Its views stay valid until the next call.
    std::optional<PlacedPage> next()
    {
        while (m_place < m_window.end()) {
            ByteView bytes = m_window.look(m_place, OggPage::MaxSize);
            if (bytes.empty())
                break; // the file has become shorter
            std::size_t at = 0;
            if (auto page = OggPage::parse(bytes))
                return placed(*page, bytes, at);
            m_hasGap = true;
            if (auto page = OggPage::find(bytes, at))
                return placed(*page, bytes, at);
            m_place += bytes.size() <= HeaderSize ? bytes.size() : bytes.size() - HeaderSize;
        }
        return std::nullopt;
    }

    /// Whether something that is no page was stepped over.
    bool hasGap() const { return m_hasGap; }

private:
    PlacedPage placed(const OggPage& page, ByteView bytes, std::size_t at)
    {
        PlacedPage result { page, m_place + at, bytes.subspan(at, page.size) };
        m_place = result.offset + page.size;
        return result;
    }

    SourceWindow m_window;
    std::uint64_t m_place = 0;
    bool m_hasGap = false;
};

void mix(std::uint64_t& digest, std::uint64_t value)
{
    constexpr std::uint64_t Prime = 0x100000001B3;
    digest = (digest ^ value) * Prime;
}

/// `first` is the number of the first page behind the headers.
void take(OggSound& sound, const OggPage& page, std::uint32_t first)
{
    if (sound.pages++ == 0)
        sound.digest = 0xCBF29CE484222325;
    mix(sound.digest, page.number - first);
    mix(sound.digest, page.granule);
    mix(sound.digest, page.packetEnds);
    for (std::uint8_t byte : page.body)
        mix(sound.digest, byte);
}

/// The headers of the first stream, as they are found page by page.
class HeaderPages {
public:
    /// True once all headers are whole.
    Result<bool> take(const PlacedPage& placed)
    {
        const OggPage& page = placed.page;
        if (page.beginsStream && isPictures(charsOf(page.body)))
            return unsupported("tags of moving pictures in Ogg are not written");
        if (page.beginsStream && !m_codec) {
            begin(page);
            return false;
        }
        if (!m_codec)
            return unsupported("no stream of this file is Vorbis or Opus");
        if (page.serial != m_serial)
            return false;
        if (page.beginsStream || page.number != m_firstNumber + m_pages.size())
            return unsupported("the pages of the headers are not whole");
        return takeHeaders(placed);
    }

    const Codec& codec() const { return *m_codec; }
    std::uint32_t serial() const { return m_serial; }
    std::uint32_t firstNumber() const { return m_firstNumber; }
    std::uint32_t firstOfSound() const { return m_firstNumber + static_cast<std::uint32_t>(m_pages.size()); }
    const std::vector<Splice>& pages() const { return m_pages; }
    std::vector<Bytes>& packets() { return m_packets; }

private:
    void begin(const OggPage& page)
    {
        for (const Codec& codec : Codecs) {
            if (charsOf(page.body).starts_with(codec.start))
                m_codec = &codec;
        }
        m_serial = page.serial;
        m_firstNumber = page.number + 1;
    }

    Result<bool> takeHeaders(const PlacedPage& placed)
    {
        ByteReader body(placed.page.body);
        for (std::uint8_t segment : placed.lacing()) {
            if (m_packets.size() == m_codec->headers && m_isWhole)
                return unsupported("the headers share a page with the sound");
            if (m_isWhole)
                m_packets.emplace_back();
            ByteView bytes = body.take(segment);
            m_packets.back().insert(m_packets.back().end(), bytes.begin(), bytes.end());
            if (m_packets.back().size() > MaxTagBytes)
                return Error { Error::Kind::Limit, "the tag is larger than tags are read" };
            m_isWhole = segment < FullSegment;
        }
        m_pages.push_back({ placed.offset, placed.page.size, {} });
        return m_isWhole && m_packets.size() == m_codec->headers;
    }

    const Codec* m_codec = nullptr;
    std::uint32_t m_serial = 0;
    std::uint32_t m_firstNumber = 0;
    std::vector<Splice> m_pages; // to be taken away
    std::vector<Bytes> m_packets; // behind the stream's first
    bool m_isWhole = true; // the last packet
};

void put32(Bytes& page, std::size_t offset, std::uint32_t value)
{
    for (int i = 0; i < 4; ++i)
        page[offset + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(value >> 8 * i);
}

/// Writes the checksum over the page as it is now.
void seal(Bytes& page)
{
    put32(page, ChecksumOffset, 0);
    put32(page, ChecksumOffset, oggChecksum(page));
}

/// Packets on pages of their own, as full as pages may be.
class PageWriter {
public:
    PageWriter(std::uint32_t serial, std::uint32_t number)
        : m_serial(serial)
        , m_number(number)
    {
    }

    void packet(ByteView bytes)
    {
        m_isContinued = false;
        while (true) {
            std::size_t size = std::min(bytes.size(), FullSegment);
            if (m_lacing.size() == MaxSegments)
                flush();
            m_lacing.push_back(static_cast<std::uint8_t>(size));
            m_body.insert(m_body.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
            bytes = bytes.subspan(size);
            m_hasEnd = m_hasEnd || size < FullSegment;
            m_isContinued = size == FullSegment;
            if (size < FullSegment)
                return;
        }
    }
    Bytes finish()
    {
        flush();
        return std::move(m_bytes);
    }
    std::uint32_t pages() const { return m_pages; }

private:
    void flush()
    {
        if (m_lacing.empty())
            return;
        Bytes page;
        ByteWriter out(page);
        out.text("OggS");
        out.u8(0);
        out.u8(m_beginsInside ? Continues : std::uint8_t { 0 });
        out.u64le(m_hasEnd ? 0 : OggPage::NoGranule);
        out.u32le(m_serial);
        out.u32le(m_number + m_pages++);
        out.u32le(0);
        out.u8(static_cast<std::uint8_t>(m_lacing.size()));
        out.bytes(m_lacing);
        out.bytes(m_body);
        seal(page);
        m_bytes.insert(m_bytes.end(), page.begin(), page.end());
        m_lacing.clear();
        m_body.clear();
        m_hasEnd = false;
        m_beginsInside = m_isContinued;
    }

    const std::uint32_t m_serial;
    const std::uint32_t m_number;
    std::uint32_t m_pages = 0;
    Bytes m_bytes;
    Bytes m_lacing; // of the page that is being filled
    Bytes m_body;
    bool m_hasEnd = false; // a packet ends on it
    bool m_beginsInside = false; // its first packet began before it
    bool m_isContinued = false; // the last packet goes on
};

/// The same page with another number; the eight bytes that differ.
Splice renumbered(const PlacedPage& placed, std::uint32_t number)
{
    Bytes page(placed.bytes.begin(), placed.bytes.end());
    put32(page, NumberOffset, number);
    seal(page);
    auto first = page.begin() + NumberOffset;
    return { placed.offset + NumberOffset, 8, Bytes(first, first + 8) };
}

/// The pages of the stream behind its headers, up to its end.
template <class Visit> void forEachSoundPage(PageWalk& walk, std::uint32_t serial, const Visit& visit)
{
    while (auto placed = walk.next()) {
        if (placed->page.serial != serial)
            continue;
        if (placed->page.beginsStream)
            return;
        visit(*placed);
        if (placed->flags() & EndsStream)
            return;
    }
}

Result<HeaderPages> readHeaders(PageWalk& walk)
{
    HeaderPages headers;
    while (auto placed = walk.next()) {
        if (walk.hasGap())
            break;
        MV_TRY(isWhole, headers.take(*placed));
        if (isWhole)
            return headers;
    }
    return unsupported("the headers are not whole");
}

} // namespace

Result<OggPlan> oggPlan(const ByteSource& file, const TagChanges& changes)
{
    PageWalk walk(file);
    MV_TRY(headers, readHeaders(walk));
    Bytes& packet = headers.packets().front();
    std::size_t prefix = headers.codec().comments.size();
    if (!charsOf(packet).starts_with(headers.codec().comments))
        return unsupported("the second packet holds no comments");
    MV_TRY(list, changedVorbisComments(ByteView(packet).subspan(prefix), changes, true));
    if (list.size() > MaxTagBytes)
        return Error { Error::Kind::Limit, "the tag would be larger than tags are read" };
    packet.resize(prefix);
    packet.insert(packet.end(), list.begin(), list.end());
    PageWriter writer(headers.serial(), headers.firstNumber());
    for (const Bytes& each : headers.packets())
        writer.packet(each);
    OggPlan plan { headers.pages(), {} };
    plan.splices.front().bytes = writer.finish();
    std::uint32_t added = writer.pages() - static_cast<std::uint32_t>(headers.pages().size());
    forEachSoundPage(walk, headers.serial(), [&](const PlacedPage& placed) {
        take(plan.sound, placed.page, headers.firstOfSound());
        if (added != 0)
            plan.splices.push_back(renumbered(placed, placed.page.number + added));
    });
    return plan;
}

Result<OggSound> oggSound(const ByteSource& file)
{
    PageWalk walk(file);
    MV_TRY(headers, readHeaders(walk));
    OggSound sound;
    forEachSoundPage(
        walk, headers.serial(), [&](const PlacedPage& placed) { take(sound, placed.page, headers.firstOfSound()); });
    return sound;
}

} // namespace mv
