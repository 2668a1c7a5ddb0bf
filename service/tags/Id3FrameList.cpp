#include "service/tags/Id3FrameList.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "id3/V23Form.h"
#include "service/tags/Id3Chapters.h"

#include <algorithm>

namespace mv {

namespace {

constexpr std::size_t FrameHeaderSize = 10;
// The size field of a tag has 28 bits; the room between is for padding.
constexpr std::size_t MaxTagBytes = (std::size_t { 1 } << 28) - (std::size_t { 1 } << 20);

bool contains(std::span<const std::string_view> ids, std::string_view id)
{
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

/// A v2.3 frame whose stored bytes are good in a v2.3 tag; a v2.2 name in such a tag is not.
bool isStoredInV23Form(const Id3v2Tag& tag, const TagFrame& frame)
{
    return tag.majorVersion() == 3 && frame.storedId.size() == 4;
}

/// A comment's description is empty: nothing, or a byte order mark alone, before its terminator.
bool hasEmptyDescription(const Id3Frame& comment)
{
    constexpr std::size_t LanguageEnd = 4;
    if (comment.content.size() <= LanguageEnd)
        return true;
    ByteView description = ByteView(comment.content).subspan(LanguageEnd);
    std::uint8_t encoding = comment.content[0];
    std::size_t length = terminatedLength(encoding, description).length;
    bool wide = encoding == Id3EncodingUtf16 || encoding == Id3EncodingUtf16BE;
    return length == 0
        || (wide && length == 2 && (description[0] ^ description[1]) == (0xFF ^ 0xFE)
            && std::min(description[0], description[1]) == 0xFE);
}

/// The text of a v2.4 time stamp as ASCII: what other encodings hold besides falls away.
std::string asciiText(ByteView content)
{
    std::string text;
    if (!content.empty())
        for (std::uint8_t byte : content.subspan(1))
            if (byte >= ' ' && byte < 0x7F)
                text += static_cast<char>(byte);
    return text;
}

bool areDigits(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

Id3FrameList Id3FrameList::carriedFrom(const TagSet& tags)
{
    Id3FrameList list;
    // A tag at the end counts only where there is none at the front; the new one at the front will hide it.
    for (const Id3v2Tag& tag : tags.prependedTags.empty() ? tags.appendedTags : tags.prependedTags)
        list.carry(tag);
    if (tags.id3v1)
        list.addFromId3v1(*tags.id3v1);
    return list;
}

void Id3FrameList::carry(const Id3v2Tag& tag)
{
    for (const TagFrame& frame : tag.frames()) {
        if (isStoredInV23Form(tag, frame)) {
            ByteView content = frame.stored.subspan(FrameHeaderSize);
            std::uint16_t flags = ByteReader(frame.stored.subspan(8, 2)).u16be();
            m_frames.push_back({ frame.id, flags, Bytes(content.begin(), content.end()) });
        } else if (frame.readable && frame.id.size() == 4 && !frame.body.empty()) {
            bool isChapter = tag.majorVersion() == 4 && (frame.id == "CHAP" || frame.id == "CTOC");
            m_frames.push_back({ frame.id, 0,
                isChapter ? v23ChapterBody(frame.id, frame.body) : Bytes(frame.body.begin(), frame.body.end()) });
            if (frame.storedId == "TDRC")
                carryDate(frame);
        }
    }
}

/// v2.3 keeps a recording time in three frames; the year is there already. "2005-03-21T10:20" is day and month 2103 and
/// the time 1020.
void Id3FrameList::carryDate(const TagFrame& frame)
{
    std::string text = asciiText(frame.stored.subspan(FrameHeaderSize));
    std::size_t year = text.find_first_of("0123456789");
    if (year == std::string::npos)
        return;
    text.erase(0, year);
    auto part = [&](std::size_t at) { return text.size() >= at + 2 ? text.substr(at, 2) : std::string(); };
    std::string date = part(8) + part(5);
    std::string time = part(11) + part(14);
    if (date.size() == 4 && areDigits(date) && text[4] == '-' && text[7] == '-')
        addLatin1("TDAT", bytesOf(date));
    if (time.size() == 4 && areDigits(time) && text[10] == 'T' && text[13] == ':')
        addLatin1("TIME", bytesOf(time));
}

/// Title, artist, album and comment of the ID3v1 tag are not asked: each update replaces or removes those frames.
void Id3FrameList::addFromId3v1(const Id3v1Tag& tag)
{
    constexpr std::uint8_t NoGenre = 255;
    if (!tag.year.empty() && !has("TYER"))
        addLatin1("TYER", tag.year);
    if (tag.track != 0 && !has("TRCK"))
        addLatin1("TRCK", bytesOf(std::to_string(tag.track)));
    if (tag.genre != NoGenre && !has("TCON"))
        addLatin1("TCON", bytesOf("(" + std::to_string(tag.genre) + ")"));
}

bool Id3FrameList::has(std::string_view id) const
{
    return std::any_of(m_frames.begin(), m_frames.end(), [&](const Id3Frame& frame) { return frame.id == id; });
}

void Id3FrameList::addLatin1(std::string_view id, ByteView text)
{
    Bytes content { Id3EncodingLatin1 };
    content.insert(content.end(), text.begin(), text.end());
    m_frames.push_back({ std::string(id), 0, std::move(content) });
}

void Id3FrameList::remove(std::span<const std::string_view> ids)
{
    std::erase_if(m_frames, [&](const Id3Frame& frame) { return contains(ids, frame.id); });
}

void Id3FrameList::removePlainComments()
{
    std::erase_if(m_frames, [](const Id3Frame& frame) { return frame.id == "COMM" && hasEmptyDescription(frame); });
}

Result<Bytes> Id3FrameList::rendered() const
{
    std::size_t total = 0;
    for (const Id3Frame& frame : m_frames) {
        total += FrameHeaderSize + frame.content.size();
        if (total > MaxTagBytes)
            return Error { Error::Kind::Limit, "the tag would be larger than an ID3v2 tag can be" };
    }
    Bytes bytes;
    bytes.reserve(total);
    ByteWriter writer(bytes);
    for (const Id3Frame& frame : m_frames) {
        writer.text(frame.id);
        writer.u32be(static_cast<std::uint32_t>(frame.content.size()));
        writer.u16be(frame.flags);
        writer.bytes(frame.content);
    }
    return bytes;
}

} // namespace mv
