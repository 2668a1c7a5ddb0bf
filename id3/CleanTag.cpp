#include "id3/CleanTag.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "id3/Lyrics3Tag.h"
#include "id3/MemoryReader.h"
#include "id3/V23Form.h"

#include <algorithm>
#include <array>
#include <id3/tag.h>

namespace mv {

namespace {

constexpr std::array<std::string_view, 7> TextFrames = { "TIT2", "TPE1", "TALB", "TCOM", "TCON", "TRCK", "TYER" };
constexpr std::string_view UnknownLanguage = "XXX";
constexpr std::uint8_t FrontCover = 3;
constexpr std::size_t StandInSize = 4;
/// A SYLT frame without words.
constexpr std::string_view TimedLyrics("\0XXX\2\1\0", 7);

/// One string in a form that id3lib reads: Latin-1 as it is, all else UTF-16 with a byte order mark; without
/// terminator.
Bytes cleanString(std::uint8_t encoding, ByteView text)
{
    text = text.first(terminatedLength(encoding, text).length);
    // Values above those defined are bytes of nobody knows what.
    if (encoding == Id3EncodingLatin1 || encoding > Id3EncodingUtf8)
        return { text.begin(), text.end() };
    Bytes units = utf16LEFromEncoded(encoding, text);
    if (!units.empty())
        units.insert(units.begin(), { 0xFF, 0xFE });
    return units;
}

std::uint8_t cleanEncoding(std::uint8_t encoding)
{
    return encoding == Id3EncodingLatin1 || encoding > Id3EncodingUtf8 ? Id3EncodingLatin1 : Id3EncodingUtf16;
}

} // namespace

CleanTag::CleanTag() { m_bytes.assign(Id3v2Tag::HeaderSize, 0); }

CleanTag CleanTag::ofId3v2(const TagSet& tags)
{
    CleanTag clean;
    for (const Id3v2Tag& tag : tags.countingTags())
        clean.addFrames(tag);
    clean.finish();
    return clean;
}

CleanTag CleanTag::ofOtherTags(const TagSet& tags, const ByteSource& source)
{
    CleanTag clean;
    Lyrics3Tag lyrics;
    if (tags.lyrics3) {
        auto block = source.bytesAt(tags.lyrics3->offset, static_cast<std::size_t>(tags.lyrics3->size));
        if (block.ok())
            lyrics = Lyrics3Tag::parse(*block, tags.lyrics3IsVersion2);
        clean.m_tagBytes += tags.lyrics3->size;
    }
    Id3v1Tag v1 = tags.id3v1.value_or(Id3v1Tag {});
    clean.m_tagBytes += tags.id3v1 ? Id3v1Tag::Size : 0;
    clean.addText("TIT2", lyrics.title.empty() ? v1.title : lyrics.title);
    clean.addText("TPE1", lyrics.artist.empty() ? v1.artist : lyrics.artist);
    clean.addText("TALB", lyrics.album.empty() ? v1.album : lyrics.album);
    clean.addText("COMM", lyrics.information);
    if (lyrics.hasLyrics && lyrics.lyricsHaveTimes)
        clean.addRaw("SYLT", bytesOf(TimedLyrics));
    clean.addText("TYER", v1.year);
    clean.addText("COMM", v1.comment);
    if (v1.track != 0)
        clean.addText("TRCK", bytesOf(formatText("%d", v1.track)));
    if (v1.genre != 255)
        clean.addText("TCON", bytesOf(formatText("(%d)", v1.genre)));
    clean.finish();
    return clean;
}

void CleanTag::addFrames(const Id3v2Tag& tag)
{
    m_tagBytes += static_cast<std::size_t>(tag.extent().size);
    for (const TagFrame& frame : tag.frames())
        addFrame(frame);
}

void CleanTag::addFrame(const TagFrame& frame)
{
    // Deliberate: that there is such a frame says it, whatever it holds.
    if (frame.id == "SYLT")
        return addRaw(frame.id, bytesOf(TimedLyrics));
    if (frame.body.empty())
        return;
    if (frame.id == "APIC")
        return addPicture(frame);
    bool isText = std::find(TextFrames.begin(), TextFrames.end(), frame.id) != TextFrames.end();
    if ((isText || frame.id == "COMM") && frame.body.size() <= MaximumSize) {
        auto form = v23Body(frame);
        ByteView body = form ? *form : frame.body;
        isText ? addTextFrame(frame.id, body) : addComment(body);
    }
}

void CleanTag::addTextFrame(std::string_view id, ByteView body)
{
    Bytes form;
    ByteWriter writer(form);
    writer.u8(cleanEncoding(body[0]));
    writer.bytes(cleanString(body[0], body.subspan(1)));
    addRaw(id, form);
}

void CleanTag::addComment(ByteView body)
{
    if (body.size() < 1 + UnknownLanguage.size())
        return;
    ByteView texts = body.subspan(1 + UnknownLanguage.size());
    std::uint8_t encoding = cleanEncoding(body[0]);
    Bytes form;
    ByteWriter writer(form);
    writer.u8(encoding);
    writer.text(UnknownLanguage);
    writer.zeros(encoding == Id3EncodingLatin1 ? 1 : 2);
    writer.bytes(cleanString(body[0], texts.subspan(terminatedLength(body[0], texts).next)));
    addRaw("COMM", form);
}

void CleanTag::addPicture(const TagFrame& frame)
{
    auto parts = splitPicture(frame.storedId, frame.body);
    if (!parts)
        return;
    m_pictures.push_back(parts->data);
    Bytes form;
    ByteWriter writer(form);
    writer.zeros(2);
    writer.u8(FrontCover);
    writer.u8(0);
    writer.u32be(static_cast<std::uint32_t>(m_pictures.size()));
    addRaw("APIC", form);
}

void CleanTag::addText(std::string_view id, ByteView latin1)
{
    if (latin1.empty())
        return;
    Bytes body;
    ByteWriter writer(body);
    writer.u8(Id3EncodingLatin1);
    if (id == "COMM") {
        writer.text(UnknownLanguage);
        writer.u8(0);
    }
    writer.bytes(cleanString(Id3EncodingLatin1, latin1));
    addRaw(id, body);
}

void CleanTag::addRaw(std::string_view id, ByteView body)
{
    constexpr std::size_t FrameHeaderSize = 10;
    if (body.empty() || m_bytes.size() + FrameHeaderSize + body.size() > MaximumSize)
        return;
    ByteWriter writer(m_bytes);
    writer.text(id);
    writer.u32be(static_cast<std::uint32_t>(body.size()));
    writer.u16be(0);
    writer.bytes(body);
}

void CleanTag::finish()
{
    std::size_t size = m_bytes.size() - Id3v2Tag::HeaderSize;
    const std::uint8_t header[] = { 'I', 'D', '3', 3, 0, 0, static_cast<std::uint8_t>(size >> 21 & 0x7F),
        static_cast<std::uint8_t>(size >> 14 & 0x7F), static_cast<std::uint8_t>(size >> 7 & 0x7F),
        static_cast<std::uint8_t>(size & 0x7F) };
    std::copy(std::begin(header), std::end(header), m_bytes.begin());
}

std::size_t CleanTag::link(ID3_Tag& tag) const
{
    if (m_bytes.size() > Id3v2Tag::HeaderSize) {
        MemoryReader reader(m_bytes);
        tag.Link(reader, static_cast<flags_t>(ID3TT_ID3V2));
    }
    return m_tagBytes;
}

ByteView CleanTag::pictureFor(ByteView dataField) const
{
    if (dataField.size() != StandInSize)
        return {};
    std::uint32_t number = ByteReader(dataField).u32be();
    return number >= 1 && number <= m_pictures.size() ? m_pictures[number - 1] : ByteView {};
}

} // namespace mv
