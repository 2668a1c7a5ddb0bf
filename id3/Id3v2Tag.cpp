#include "id3/Id3v2Tag.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Result.h"
#include "id3/Unpacking.h"
#include "id3/V23Form.h"

#include <algorithm>

namespace mv {

namespace {

// Tag flags.
constexpr std::uint8_t TagUnsynchronised = 0x80;
constexpr std::uint8_t TagExtendedHeader = 0x40; // in v2.2 the flag of a compression scheme that was never defined

bool isSyncsafe(ByteView bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte < 0x80; });
}

std::uint32_t syncsafe32(ByteView bytes)
{
    return std::uint32_t { bytes[0] } << 21 | std::uint32_t { bytes[1] } << 14 | std::uint32_t { bytes[2] } << 7
        | bytes[3];
}

std::uint32_t plain32(ByteView bytes) { return ByteReader(bytes).u32be(); }

bool isIdCharacter(std::uint8_t c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); }

/// What a frame's flags say, in one form for v2.3 and v2.4.
struct FrameFlags {
    bool compressed = false;
    bool encrypted = false;
    bool grouped = false;
    bool unsynchronised = false;
    bool hasLength = false;
};

FrameFlags frameFlags(int version, std::uint16_t bits)
{
    FrameFlags flags;
    if (version == 3) {
        flags.compressed = bits & 0x0080;
        flags.encrypted = bits & 0x0040;
        flags.grouped = bits & 0x0020;
        flags.hasLength = flags.compressed;
    } else if (version == 4) {
        flags.grouped = bits & 0x0040;
        flags.compressed = bits & 0x0008;
        flags.encrypted = bits & 0x0004;
        flags.unsynchronised = bits & 0x0002;
        // Compression requires the length, and some writers forget to flag it.
        flags.hasLength = (bits & 0x0001) || flags.compressed;
    }
    return flags;
}

std::optional<Id3v2Tag::Header> parseTenBytes(ByteView bytes, std::string_view mark)
{
    if (bytes.size() < Id3v2Tag::HeaderSize || !charsOf(bytes).starts_with(mark))
        return std::nullopt;
    ByteView size = bytes.subspan(6, 4);
    if (bytes[3] == 0xFF || bytes[4] == 0xFF || !isSyncsafe(size))
        return std::nullopt;
    return Id3v2Tag::Header { bytes[3], bytes[5], syncsafe32(size) };
}

} // namespace

/// Takes one tag apart.
class Id3v2Parser {
public:
    Id3v2Parser(Id3v2Tag& tag, std::size_t unpackLimit)
        : m_tag(tag)
        , m_unpackLeft(unpackLimit)
    {
    }

    void parse()
    {
        const auto& header = m_tag.m_header;
        bool known = header.majorVersion >= 2 && header.majorVersion <= 4;
        if (!known || (header.majorVersion == 2 && (header.flags & TagExtendedHeader))) {
            m_tag.m_complete = m_tag.m_bytes.empty();
            return;
        }
        if ((header.flags & TagUnsynchronised) && header.majorVersion < 4 && isUnsynchronised(m_tag.m_bytes))
            m_tag.m_bytes.resize(undoUnsynchronisation(m_tag.m_bytes));
        m_bytes = m_tag.m_bytes;
        m_position = extendedHeaderSize();
        while (readFrame()) { }
        m_tag.m_framesEnd = m_position;
    }

private:
    int version() const { return m_tag.m_header.majorVersion; }
    std::size_t idSize() const { return version() == 2 ? 3 : 4; }
    std::size_t headerSize() const { return version() == 2 ? 6 : 10; }
    ByteView at(std::size_t position) const { return m_bytes.subspan(std::min(position, m_bytes.size())); }

    /// A name; in v2.3 and later also a v2.2 name with a zero byte or blank behind it, which a wide-spread program
    /// wrote.
    bool isFrameId(ByteView bytes) const
    {
        if (bytes.size() < idSize() || !std::all_of(bytes.begin(), bytes.begin() + 3, isIdCharacter))
            return false;
        return version() == 2 || isIdCharacter(bytes[3]) || isPaddedShortId(bytes);
    }
    static bool isPaddedShortId(ByteView bytes)
    {
        return (bytes[3] == 0 || bytes[3] == ' ') && v23FrameId(charsOf(bytes.first(3))).size() == 4;
    }

    /// True when a frame may end here: at the end of the tag, at padding, or at the next frame's name.
    bool isBorder(std::uint64_t position) const
    {
        if (position > m_bytes.size())
            return false;
        ByteView rest = at(static_cast<std::size_t>(position));
        return rest.empty() || rest[0] == 0 || isFrameId(rest);
    }

    std::size_t extendedHeaderSize() const
    {
        ByteView bytes = m_bytes;
        if (version() == 2 || !(m_tag.m_header.flags & TagExtendedHeader) || bytes.size() < 4 || isFrameId(bytes))
            return 0;
        // v2.3 does not count the size field itself, v2.4 does and writes it syncsafe; each is written the other way,
        // too.
        std::uint64_t exclusive = std::uint64_t { plain32(bytes) } + 4;
        std::uint64_t inclusive = syncsafe32(bytes);
        const std::uint64_t inOrder[] = { version() == 3 ? exclusive : inclusive,
            version() == 3 ? inclusive : exclusive, plain32(bytes), inclusive + 4 };
        for (std::uint64_t size : inOrder) {
            if (size >= 6 && isBorder(size))
                return static_cast<std::size_t>(size);
        }
        return 0;
    }

    /// The size that the version writes, unless only the other way of writing it leads to a border.
    std::uint32_t frameSize(ByteView header) const
    {
        if (version() == 2)
            return ByteReader(header.subspan(3, 3)).u24be();
        ByteView field = header.subspan(4, 4);
        std::uint32_t plain = plain32(field);
        if (!isSyncsafe(field))
            return plain;
        std::uint32_t safe = syncsafe32(field);
        std::uint32_t own = version() == 4 ? safe : plain;
        std::uint32_t other = version() == 4 ? plain : safe;
        std::uint64_t content = m_position + headerSize();
        return !isBorder(content + own) && isBorder(content + other) ? other : own;
    }

    bool readFrame()
    {
        ByteView rest = at(m_position);
        if (rest.empty() || rest[0] == 0)
            return false;
        if (rest.size() < headerSize() || !isFrameId(rest) || m_tag.m_frames.size() >= Id3v2Tag::MaximumFrames) {
            m_tag.m_complete = false;
            return false;
        }
        std::uint32_t size = frameSize(rest);
        if (size > rest.size() - headerSize()) {
            m_tag.m_complete = false;
            return false;
        }
        addFrame(rest.first(headerSize() + size));
        m_position += headerSize() + size;
        return true;
    }

    void addFrame(ByteView stored)
    {
        TagFrame frame;
        bool padded = version() > 2 && !isIdCharacter(stored[3]);
        frame.storedId = charsOf(stored.first(padded ? 3 : idSize()));
        frame.id = v23FrameId(frame.storedId);
        frame.stored = stored;
        std::uint16_t bits = version() == 2 ? 0 : ByteReader(stored.subspan(8, 2)).u16be();
        auto content = unpacked(frameFlags(version(), bits), stored.subspan(headerSize()));
        frame.readable = content.has_value();
        if (content)
            frame.body = inV23Form(frame, *content);
        m_tag.m_frames.push_back(std::move(frame));
    }

    ByteView inV23Form(const TagFrame& frame, ByteView content)
    {
        // A conversion to UTF-16 at most doubles, and adds marks and slashes.
        if (content.size() * 2 + 64 > m_unpackLeft)
            return content;
        auto form = v23Body(frame.id, frame.storedId, version(), content);
        return form ? keep(std::move(*form)) : content;
    }

    std::optional<ByteView> unpacked(FrameFlags flags, ByteView content)
    {
        if (flags.encrypted)
            return std::nullopt;
        ByteReader reader(content);
        std::uint32_t length = 0;
        auto readLength = [&] {
            ByteView field = reader.take(4);
            if (!field.empty())
                length = version() == 4 && isSyncsafe(field) ? syncsafe32(field) : plain32(field);
        };
        // v2.3: length, group. v2.4: group, length.
        if (version() == 3 && flags.hasLength)
            readLength();
        if (flags.grouped)
            reader.skip(1);
        if (version() == 4 && flags.hasLength)
            readLength();
        if (reader.failed())
            return std::nullopt;
        ByteView packed = reader.rest();
        bool tagUnsynchronised = version() == 4 && (m_tag.m_header.flags & TagUnsynchronised);
        // Tags are flagged so whose frames are not, and the other way round: the content decides.
        if ((flags.unsynchronised || tagUnsynchronised) && isUnsynchronised(packed)) {
            auto resynchronised = resynchronisedCopy(packed);
            if (!resynchronised)
                return std::nullopt;
            packed = *resynchronised;
        }
        return flags.compressed ? inflated(packed, length) : packed;
    }

    std::optional<ByteView> resynchronisedCopy(ByteView packed)
    {
        if (!needsResynchronising(packed))
            return packed;
        if (packed.size() > m_unpackLeft)
            return std::nullopt;
        Bytes copy(packed.begin(), packed.end());
        copy.resize(undoUnsynchronisation(copy));
        return keep(std::move(copy));
    }

    std::optional<ByteView> inflated(ByteView packed, std::uint32_t length)
    {
        auto bytes = inflateExactly(packed, length, m_unpackLeft);
        if (!bytes)
            return std::nullopt;
        return keep(std::move(*bytes));
    }

    ByteView keep(Bytes bytes)
    {
        m_unpackLeft -= std::min(m_unpackLeft, bytes.size());
        m_tag.m_bytesUnpacked += bytes.size();
        return m_tag.m_unpacked.emplace_back(std::move(bytes));
    }

    Id3v2Tag& m_tag;
    ByteView m_bytes;
    std::size_t m_position = 0;
    std::size_t m_unpackLeft;
};

std::optional<Id3v2Tag::Header> Id3v2Tag::parseHeader(ByteView bytes) { return parseTenBytes(bytes, "ID3"); }

std::optional<Id3v2Tag::Header> Id3v2Tag::parseFooter(ByteView bytes) { return parseTenBytes(bytes, "3DI"); }

Id3v2Tag Id3v2Tag::parse(
    const Header& header, std::uint64_t offset, std::uint64_t fileSize, Bytes body, std::size_t unpackLimit)
{
    Id3v2Tag tag;
    tag.m_header = header;
    tag.m_bytes = std::move(body);
    tag.m_complete = tag.m_bytes.size() >= header.bodySize;
    Id3v2Parser(tag, unpackLimit).parse();
    bool inFile = header.totalSize() <= fileSize - offset;
    tag.m_extent = { offset, inFile ? header.totalSize() : HeaderSize + tag.m_framesEnd };
    return tag;
}

} // namespace mv
