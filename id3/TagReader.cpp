#include "id3/TagReader.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"

#include <algorithm>

namespace mv {

namespace {

// More tags than any program leaves behind; a file of nothing but empty tags ends here.
constexpr std::size_t MaxTags = 16;
// One read of the front: a tag without a cover and what follows it.
constexpr std::size_t FrontRead = std::size_t { 4 } << 10;
// Zero bytes behind a tag, or at the front, that are stepped over.
constexpr std::size_t MaxUncountedPadding = std::size_t { 16 } << 10;

constexpr std::size_t ApeHeaderSize = 32;
constexpr std::string_view ApeMark = "APETAGEX";
constexpr std::uint32_t ApeHasHeader = 0x80000000;
constexpr std::uint32_t ApeIsHeader = 0x20000000;

constexpr std::string_view LyricsBegin = "LYRICSBEGIN";
constexpr std::string_view Lyrics1End = "LYRICSEND";
constexpr std::string_view Lyrics2End = "LYRICS200";
// The longest text of version 1.
constexpr std::size_t Lyrics1Maximum = 5100;

class TagFinder {
public:
    explicit TagFinder(const ByteSource& source)
        : m_source(source)
    {
        m_tags.audioEnd = source.size();
    }

    Result<TagSet> find()
    {
        MV_TRY_VOID(readFront());
        MV_TRY_VOID(readEnd());
        return std::move(m_tags);
    }

private:
    /// Up to `count` bytes; short at the end of the file.
    Result<Bytes> bytesAt(std::uint64_t offset, std::size_t count) const
    {
        std::uint64_t begin = std::min(offset, m_source.size());
        return m_source.bytesAt(begin, std::min<std::uint64_t>(count, m_source.size() - begin));
    }

    /// The bytes from `offset` on, at least `count` of them but for the file's end: what one read of the front shows.
    Result<ByteView> frontAt(std::uint64_t offset, std::size_t count)
    {
        bool before = offset < m_frontOffset;
        bool behind = std::min(offset + count, m_source.size()) > m_frontOffset + m_front.size();
        if (before || behind) {
            MV_TRY(bytes, bytesAt(offset, std::max(count, FrontRead)));
            m_front = std::move(bytes);
            m_frontOffset = offset;
        }
        return ByteView(m_front).subspan(static_cast<std::size_t>(offset - m_frontOffset));
    }

    Result<void> readFront()
    {
        while (m_tags.prependedTags.size() < MaxTags) {
            MV_TRY(rest, frontAt(m_tags.audioBegin, Id3v2Tag::HeaderSize));
            // Padding that the tag before did not count, or whatever left zeros in front of the first.
            if (!rest.empty() && rest[0] == 0) {
                MV_TRY(more, frontAt(m_tags.audioBegin, MaxUncountedPadding));
                rest = more;
            }
            std::size_t zeros = leadingZeros(rest);
            auto header = Id3v2Tag::parseHeader(rest.subspan(zeros));
            if (!header)
                break;
            MV_TRY_VOID(addTag(m_tags.prependedTags, *header, m_tags.audioBegin + zeros, rest.subspan(zeros)));
            m_tags.audioBegin = m_tags.prependedTags.back().extent().end();
        }
        return readLeadingApe();
    }

    static std::size_t leadingZeros(ByteView bytes)
    {
        return static_cast<std::size_t>(
            std::find_if(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte != 0; }) - bytes.begin());
    }

    /// `known` holds the bytes of the file from the tag on, as many as are at hand.
    Result<void> addTag(std::vector<Id3v2Tag>& list, Id3v2Tag::Header header, std::uint64_t offset, ByteView known)
    {
        if (header.hasFooter()) {
            MV_TRY(behind, bytesAt(offset + header.totalSize() - Id3v2Tag::FooterSize, Id3v2Tag::FooterSize));
            header = Id3v2Tag::withoutFalseFooter(header, behind);
        }
        std::uint64_t inFile = m_source.size() - offset;
        std::uint64_t wanted = std::min<std::uint64_t>(header.bodySize, m_readLeft);
        wanted = std::min(wanted, inFile - Id3v2Tag::HeaderSize);
        auto count = static_cast<std::size_t>(wanted);
        Bytes body;
        if (known.size() >= Id3v2Tag::HeaderSize + count) {
            ByteView part = known.subspan(Id3v2Tag::HeaderSize, count);
            body.assign(part.begin(), part.end());
        } else {
            MV_TRY(read, m_source.bytesAt(offset + Id3v2Tag::HeaderSize, count));
            body = std::move(read);
        }
        m_readLeft -= body.size();
        list.push_back(Id3v2Tag::parse(header, offset, m_source.size(), std::move(body), m_unpackLeft));
        m_unpackLeft -= std::min(m_unpackLeft, list.back().bytesUnpacked());
        return {};
    }

    struct ApeFacts {
        std::uint64_t size = 0; ///< items and footer
        bool hasHeader = false;
        bool isHeader = false;
    };
    static std::optional<ApeFacts> parseApe(ByteView bytes)
    {
        if (bytes.size() < ApeHeaderSize || !charsOf(bytes).starts_with(ApeMark))
            return std::nullopt;
        ByteReader reader(bytes.subspan(ApeMark.size()));
        reader.skip(4);
        ApeFacts facts;
        facts.size = reader.u32le();
        reader.skip(4);
        std::uint32_t flags = reader.u32le();
        facts.hasHeader = flags & ApeHasHeader;
        facts.isHeader = flags & ApeIsHeader;
        return facts;
    }

    Result<void> readLeadingApe()
    {
        MV_TRY(front, frontAt(m_tags.audioBegin, ApeHeaderSize));
        auto facts = parseApe(front);
        if (!facts || !facts->isHeader)
            return {};
        std::uint64_t size = facts->size + ApeHeaderSize;
        if (size > m_source.size() - m_tags.audioBegin)
            return {};
        m_tags.leadingApe = TagExtent { m_tags.audioBegin, size };
        m_tags.audioBegin += size;
        return {};
    }

    /// The bytes that lie right before `audioEnd`, at most `count`, none of the tags at the front.
    Result<Bytes> bytesBeforeEnd(std::size_t count) const
    {
        std::uint64_t left = m_tags.audioEnd > m_tags.audioBegin ? m_tags.audioEnd - m_tags.audioBegin : 0;
        std::uint64_t taken = std::min<std::uint64_t>(count, left);
        return m_source.bytesAt(m_tags.audioEnd - taken, static_cast<std::size_t>(taken));
    }

    /// An APE tag of 131 bytes has "TAG" where an ID3v1 tag has it.
    static bool beginsInApeMark(ByteView end)
    {
        constexpr std::size_t Before = std::string_view("APE").size();
        return end.size() >= Id3v1Tag::Size + Before && charsOf(end.last(Id3v1Tag::Size + Before)).starts_with(ApeMark);
    }

    Result<void> readEnd()
    {
        // One read shows whether anything is there at all.
        constexpr std::size_t EndSize = 160;
        MV_TRY(end, bytesBeforeEnd(EndSize));
        if (end.size() >= Id3v1Tag::Size && !beginsInApeMark(end))
            m_tags.id3v1 = Id3v1Tag::parse(ByteView(end).last(Id3v1Tag::Size));
        if (m_tags.id3v1) {
            m_tags.audioEnd -= Id3v1Tag::Size;
            end.resize(end.size() - Id3v1Tag::Size);
        }
        for (bool found = true; found;) {
            std::uint64_t before = m_tags.audioEnd;
            MV_TRY_VOID(readApeAtEnd(end));
            if (before == m_tags.audioEnd)
                MV_TRY_VOID(readLyrics(end));
            if (before == m_tags.audioEnd)
                MV_TRY_VOID(readAppendedTag(end));
            found = before != m_tags.audioEnd;
            if (found) {
                MV_TRY(next, bytesBeforeEnd(ApeHeaderSize));
                end = std::move(next);
            }
        }
        return {};
    }

    Result<void> readApeAtEnd(ByteView end)
    {
        if (m_tags.ape || end.size() < ApeHeaderSize)
            return {};
        auto facts = parseApe(end.last(ApeHeaderSize));
        if (!facts || facts->isHeader || facts->size < ApeHeaderSize)
            return {};
        std::uint64_t size = facts->size + (facts->hasHeader ? ApeHeaderSize : 0);
        if (size > m_tags.audioEnd - m_tags.audioBegin)
            return {};
        m_tags.audioEnd -= size;
        m_tags.ape = TagExtent { m_tags.audioEnd, size };
        return {};
    }

    Result<void> readLyrics(ByteView end)
    {
        if (m_tags.lyrics3 || end.size() < Lyrics1End.size())
            return {};
        std::string_view mark = charsOf(end.last(Lyrics1End.size()));
        std::uint64_t size = 0;
        if (mark == Lyrics2End) {
            MV_TRY(found, lyrics2Size(end));
            size = found;
        } else if (mark == Lyrics1End) {
            MV_TRY(found, lyrics1Size());
            size = found;
        }
        if (size == 0)
            return {};
        m_tags.audioEnd -= size;
        m_tags.lyrics3 = TagExtent { m_tags.audioEnd, size };
        m_tags.lyrics3IsVersion2 = mark == Lyrics2End;
        return {};
    }

    /// Six digits before the closing mark count everything before them.
    Result<std::uint64_t> lyrics2Size(ByteView end) const
    {
        constexpr std::size_t DigitCount = 6;
        if (end.size() < Lyrics2End.size() + DigitCount)
            return std::uint64_t { 0 };
        std::string_view digits = charsOf(end).substr(end.size() - Lyrics2End.size() - DigitCount, DigitCount);
        if (digits.find_first_not_of("0123456789") != std::string_view::npos)
            return std::uint64_t { 0 };
        std::uint64_t size = static_cast<std::uint64_t>(leadingInteger(digits)) + DigitCount + Lyrics2End.size();
        if (size > m_tags.audioEnd - m_tags.audioBegin)
            return std::uint64_t { 0 };
        MV_TRY(begin, m_source.bytesAt(m_tags.audioEnd - size, LyricsBegin.size()));
        return charsOf(begin) == LyricsBegin ? size : 0;
    }

    /// Version 1 has no size: the begin mark is searched.
    Result<std::uint64_t> lyrics1Size() const
    {
        MV_TRY(bytes, bytesBeforeEnd(Lyrics1Maximum + LyricsBegin.size() + Lyrics1End.size()));
        auto begin = charsOf(bytes).rfind(LyricsBegin);
        return begin == std::string_view::npos ? std::uint64_t { 0 } : std::uint64_t { bytes.size() - begin };
    }

    Result<void> readAppendedTag(ByteView end)
    {
        if (end.size() < Id3v2Tag::FooterSize || m_tags.appendedTags.size() >= MaxTags)
            return {};
        auto footer = Id3v2Tag::parseFooter(end.last(Id3v2Tag::FooterSize));
        if (!footer || footer->majorVersion != 4)
            return {};
        std::uint64_t size = std::uint64_t { footer->bodySize } + Id3v2Tag::HeaderSize + Id3v2Tag::FooterSize;
        if (size > m_tags.audioEnd - m_tags.audioBegin)
            return {};
        std::uint64_t offset = m_tags.audioEnd - size;
        MV_TRY(headerBytes, m_source.bytesAt(offset, Id3v2Tag::HeaderSize));
        auto header = Id3v2Tag::parseHeader(headerBytes);
        if (!header || header->bodySize != footer->bodySize || header->majorVersion != 4)
            return {};
        header->flags |= Id3v2Tag::Header::FooterFlag;
        MV_TRY_VOID(addTag(m_tags.appendedTags, *header, offset, headerBytes));
        std::rotate(m_tags.appendedTags.begin(), m_tags.appendedTags.end() - 1, m_tags.appendedTags.end());
        m_tags.audioEnd = offset;
        return {};
    }

    const ByteSource& m_source;
    Bytes m_front;
    std::uint64_t m_frontOffset = 0;
    TagSet m_tags;
    std::size_t m_readLeft = MaxTagBytes;
    std::size_t m_unpackLeft = TagSet::MaxBytesUnpacked;
};

} // namespace

Result<TagSet> readTags(const ByteSource& source) { return TagFinder(source).find(); }

} // namespace mv
