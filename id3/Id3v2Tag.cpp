#include "id3/Id3v2Tag.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Result.h"
#include "id3/FrameNames.h"
#include "id3/FrameWalk.h"
#include "id3/Syncsafe.h"
#include "id3/Unpacking.h"

#include <algorithm>

namespace mv {

namespace {

// Tag flags.
constexpr std::uint8_t TagUnsynchronised = 0x80;
constexpr std::uint8_t TagExtendedHeader = 0x40; // in v2.2 the flag of a compression scheme that was never defined

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
        FrameWalk walk(version(), m_tag.m_bytes, header.flags & TagExtendedHeader);
        while (m_tag.m_frames.size() < Id3v2Tag::MaxFrames) {
            auto frame = walk.next();
            if (!frame)
                break;
            addFrame(walk, *frame);
        }
        m_tag.m_framesEnd = walk.position();
        m_tag.m_complete = m_tag.m_complete && !walk.next() && walk.reachedEnd();
    }

private:
    int version() const { return m_tag.m_header.majorVersion; }

    void addFrame(const FrameWalk& walk, ByteView stored)
    {
        TagFrame frame;
        frame.majorVersion = version();
        frame.storedId = walk.nameOf(stored);
        frame.id = v23FrameId(frame.storedId, version());
        frame.stored = stored;
        std::uint16_t bits = version() == 2 ? 0 : ByteReader(stored.subspan(8, 2)).u16be();
        FrameFlags flags = frameFlags(version(), bits);
        if (auto content = splitContent(flags, stored.subspan(walk.headerSize()))) {
            auto body = flags.encrypted ? std::nullopt
                : flags.compressed      ? inflated(content->packed, content->length)
                                        : std::optional(content->packed);
            frame.readable = body.has_value();
            frame.body = body.value_or(ByteView {});
            if (!body && version() == 4)
                keepPacked(frame, flags, *content);
        } else {
            frame.readable = false;
        }
        m_tag.m_frames.push_back(std::move(frame));
    }

    /// What lies behind a frame's header.
    struct Content {
        std::uint32_t length = 0; ///< once unpacked
        std::uint8_t group = 0;
        std::uint8_t encryption = 0; ///< its method
        ByteView packed;
    };

    std::optional<Content> splitContent(FrameFlags flags, ByteView stored)
    {
        ByteReader reader(stored);
        Content content;
        auto readLength = [&] {
            ByteView field = reader.take(4);
            if (!field.empty())
                content.length = version() == 4 && isSyncsafe(field) ? syncsafe32(field) : ByteReader(field).u32be();
        };
        // v2.3: length, encryption, group. v2.4: group, encryption, length.
        if (version() == 3 && flags.hasLength)
            readLength();
        if (version() == 4 && flags.grouped)
            content.group = reader.u8();
        if (flags.encrypted)
            content.encryption = reader.u8();
        if (version() == 3 && flags.grouped)
            content.group = reader.u8();
        if (version() == 4 && flags.hasLength)
            readLength();
        if (reader.failed())
            return std::nullopt;
        content.packed = reader.rest();
        bool tagUnsynchronised = version() == 4 && (m_tag.m_header.flags & TagUnsynchronised);
        // Tags are flagged so whose frames are not, and the other way round: the content decides.
        if ((flags.unsynchronised || tagUnsynchronised) && isUnsynchronised(content.packed)) {
            auto resynchronised = resynchronisedCopy(content.packed);
            if (!resynchronised)
                return std::nullopt;
            content.packed = *resynchronised;
        }
        return content;
    }

    void keepPacked(TagFrame& frame, FrameFlags flags, const Content& content)
    {
        if (isOverLimit(content.packed.size()))
            return;
        Bytes form;
        ByteWriter writer(form);
        if (flags.compressed)
            writer.u32be(content.length);
        if (flags.encrypted)
            writer.u8(content.encryption);
        if (flags.grouped)
            writer.u8(content.group);
        writer.bytes(content.packed);
        frame.packed = keep(std::move(form));
        frame.packedFlags = static_cast<std::uint16_t>(
            (flags.compressed ? 0x80 : 0) | (flags.encrypted ? 0x40 : 0) | (flags.grouped ? 0x20 : 0));
    }

    std::optional<ByteView> resynchronisedCopy(ByteView packed)
    {
        if (!needsResynchronising(packed))
            return packed;
        if (isOverLimit(packed.size()))
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

    /// Who rewrites the tag has no other form of such a frame.
    bool isOverLimit(std::size_t size)
    {
        constexpr std::size_t MaxAdded = 6; // of a length, an encryption and a group
        bool over = size + MaxAdded > m_unpackLeft;
        m_tag.m_complete = m_tag.m_complete && !over;
        return over;
    }

    ByteView keep(Bytes bytes)
    {
        m_unpackLeft -= std::min(m_unpackLeft, bytes.size());
        m_tag.m_bytesUnpacked += bytes.size();
        return m_tag.m_unpacked.emplace_back(std::move(bytes));
    }

    Id3v2Tag& m_tag;
    std::size_t m_unpackLeft;
};

std::optional<Id3v2Tag::Header> Id3v2Tag::parseHeader(ByteView bytes) { return parseTenBytes(bytes, "ID3"); }

std::optional<Id3v2Tag::Header> Id3v2Tag::parseFooter(ByteView bytes) { return parseTenBytes(bytes, "3DI"); }

Id3v2Tag::Header Id3v2Tag::withoutFalseFooter(Header header, ByteView behind)
{
    if (header.hasFooter() && !charsOf(behind).starts_with("3DI"))
        header.flags &= static_cast<std::uint8_t>(~Header::FooterFlag);
    return header;
}

std::uint64_t Id3v2Tag::sizeAt(std::uint64_t place, const std::function<Bytes(std::uint64_t place)>& tenAt)
{
    auto header = parseHeader(tenAt(place));
    if (!header)
        return 0;
    if (header->hasFooter())
        header = withoutFalseFooter(*header, tenAt(place + header->totalSize() - FooterSize));
    return header->totalSize();
}

std::uint64_t Id3v2Tag::sizeAt(std::uint64_t place, const ByteSource& file)
{
    return sizeAt(place, [&file](std::uint64_t at) {
        Bytes ten(HeaderSize);
        ten.resize(file.readUpTo(at, ten));
        return ten;
    });
}

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
