#include "facts/reading/ShortenedTag.h"

#include "Base/Core/ByteReader.h"
#include "id3/Id3v2Tag.h"
#include "id3/Syncsafe.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

constexpr std::size_t FrameHeaderSize = 10;
// Smaller pictures cost less to read than to leave out.
constexpr std::uint32_t LargePicture = 16u << 10;
// What is left of one: encoding, type and description, and some of its bytes.
constexpr std::uint32_t KeptBytes = 1u << 10;
// Tags without their pictures are smaller; larger ones are read as they are.
constexpr std::uint64_t MaxFrontBytes = 256u << 10;

bool isFrameName(ByteView bytes)
{
    return std::all_of(
        bytes.begin(), bytes.end(), [](std::uint8_t c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); });
}

std::uint32_t plainNumber(ByteView four) { return ByteReader(four).u32be(); }

void putSyncsafe(std::uint8_t* target, std::uint32_t number) { std::ranges::copy(syncsafeBytes(number), target); }

class Shortener {
public:
    Shortener(const ByteSource& source, const Id3v2Tag::Header& header)
        : m_source(source)
        , m_version(header.majorVersion)
        , m_end(Id3v2Tag::HeaderSize + std::uint64_t { header.bodySize })
    {
    }

    /// The tag with its frames up to the padding; empty where it cannot be shortened.
    Bytes run()
    {
        m_front.resize(Id3v2Tag::HeaderSize);
        if (m_source.readUpTo(0, m_front) != m_front.size())
            return {};
        std::uint64_t place = Id3v2Tag::HeaderSize;
        while (place + FrameHeaderSize <= m_end) {
            std::uint8_t header[FrameHeaderSize];
            if (m_source.readUpTo(place, header) != FrameHeaderSize)
                return {};
            if (header[0] == 0)
                break;
            auto size = takeFrame(place, header);
            if (!size || m_front.size() > MaxFrontBytes)
                return {};
            place += FrameHeaderSize + *size;
        }
        if (!m_hasLarge || place > m_end)
            return {};
        putSyncsafe(m_front.data() + 6, static_cast<std::uint32_t>(m_front.size() - Id3v2Tag::HeaderSize));
        return std::move(m_front);
    }

private:
    /// Nothing where the size is not beyond doubt.
    std::optional<std::uint32_t> takeFrame(std::uint64_t place, std::span<std::uint8_t, FrameHeaderSize> header)
    {
        ByteView sizeField = ByteView(header).subspan(4, 4);
        std::uint32_t size = m_version == 4 ? syncsafe32(sizeField) : plainNumber(sizeField);
        if (!isFrameName(ByteView(header).first(4)) || (m_version == 4 && !isSyncsafe(sizeField))
            || place + FrameHeaderSize + size > m_end || !isBorder(place + FrameHeaderSize + size)
            || mayBeOtherSize(place, size, sizeField))
            return std::nullopt;
        bool isPicture = charsOf(ByteView(header).first(4)) == "APIC";
        // Flags speak of compression, encryption and the like: such a picture is left to the reader as it is.
        bool isLarge = isPicture && size > LargePicture && header[9] == 0;
        m_hasLarge = m_hasLarge || isLarge;
        std::uint32_t kept = isLarge ? KeptBytes : size;
        if (isLarge) {
            if (m_version == 4)
                putSyncsafe(header.data() + 4, kept);
            else
                for (int i = 0; i < 4; ++i)
                    header[4 + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(kept >> (24 - 8 * i));
        }
        m_front.insert(m_front.end(), header.begin(), header.end());
        std::size_t old = m_front.size();
        if (old + kept > MaxFrontBytes)
            return std::nullopt;
        m_front.resize(old + kept);
        if (m_source.readUpTo(place + FrameHeaderSize, std::span(m_front).subspan(old)) != kept)
            return std::nullopt;
        return size;
    }

    /// Another frame, padding, or the tag's end.
    bool isBorder(std::uint64_t place) const
    {
        if (place >= m_end || m_end - place < FrameHeaderSize)
            return true;
        std::uint8_t name[4];
        return m_source.readUpTo(place, name) == sizeof name && (plainNumber(name) == 0 || isFrameName(name));
    }

    bool isFrame(std::uint64_t place) const
    {
        std::uint8_t name[4];
        return place < m_end && m_source.readUpTo(place, name) == sizeof name && isFrameName(name);
    }

    /// Whether the size, written as the other version does, leads to a frame and this one to zeros, which may lie
    /// inside a picture.
    bool mayBeOtherSize(std::uint64_t place, std::uint32_t size, ByteView sizeField) const
    {
        std::uint32_t other = m_version == 4 ? plainNumber(sizeField) : syncsafe32(sizeField);
        const std::uint64_t content = place + FrameHeaderSize;
        return other != size && isSyncsafe(sizeField) && !isFrame(content + size)
            && (isFrame(content + other) || content + other == m_end);
    }

    const ByteSource& m_source;
    int m_version;
    std::uint64_t m_end;
    Bytes m_front;
    bool m_hasLarge = false;
};

} // namespace

std::optional<ShortenedTag> ShortenedTag::of(const ByteSource& source)
{
    std::uint8_t head[Id3v2Tag::HeaderSize];
    if (source.readUpTo(0, head) != sizeof head)
        return std::nullopt;
    auto header = Id3v2Tag::parseHeader(head);
    bool isPlain = header && (header->majorVersion == 3 || header->majorVersion == 4) && header->flags == 0
        && header->bodySize > LargePicture && header->totalSize() <= source.size();
    if (!isPlain)
        return std::nullopt;
    Bytes front = Shortener(source, *header).run();
    if (front.empty())
        return std::nullopt;
    std::uint64_t cut = header->totalSize() - front.size();
    return ShortenedTag(source, std::move(front), cut);
}

Result<std::size_t> ShortenedTag::readAt(std::uint64_t offset, std::span<std::uint8_t> target) const
{
    std::size_t fromFront = 0;
    if (offset < m_front.size() && !target.empty()) {
        auto at = static_cast<std::size_t>(offset);
        fromFront = std::min(target.size(), m_front.size() - at);
        std::memcpy(target.data(), m_front.data() + at, fromFront);
    }
    if (fromFront == target.size())
        return fromFront;
    MV_TRY(rest, m_source->readAt(offset + fromFront + m_cut, target.subspan(fromFront)));
    return fromFront + rest;
}

} // namespace mv
