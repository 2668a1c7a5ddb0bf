#include "facts/reading/Id3Facts.h"

#include "Base/Core/Text.h"
#include "Base/Media/TagLimits.h"
#include "facts/reading/Genres.h"
#include "id3/EncodedText.h"
#include "id3/TagReader.h"
#include "id3/V23Form.h"

#include <algorithm>

#include <array>
#include <optional>

namespace mv {

namespace {

struct FieldOfFrame {
    std::string_view frame;
    TagField field;
};

constexpr std::array Fields {
    FieldOfFrame { "TIT2", TagField::Title },
    FieldOfFrame { "TALB", TagField::Album },
    FieldOfFrame { "TPE1", TagField::Artist },
    FieldOfFrame { "TPE2", TagField::AlbumArtist },
    FieldOfFrame { "TCOM", TagField::Composer },
    FieldOfFrame { "TCON", TagField::Genre },
    FieldOfFrame { "TRCK", TagField::Track },
    FieldOfFrame { "TPOS", TagField::Disc },
    FieldOfFrame { "TBPM", TagField::Tempo },
    FieldOfFrame { "TCMP", TagField::Compilation },
};

constexpr std::size_t LanguageBytes = 3;

/// A frame of texts while it is read.
class FrameTexts {
public:
    explicit FrameTexts(ByteView body)
        : m_encoding(body.empty() ? std::uint8_t { 0 } : body[0])
        , m_rest(body.empty() ? body : body.subspan(1))
    {
    }

    void skip(std::size_t count) { m_rest = m_rest.subspan(std::min(count, m_rest.size())); }
    bool atEnd() const { return m_rest.empty(); }
    bool isLegacy() const { return m_encoding == Id3EncodingLatin1 || m_encoding > Id3EncodingUtf8; }
    /// The next string as stored.
    ByteView raw() { return takeString(m_encoding, m_rest); }
    ByteView rest() const { return m_rest; }
    /// A string of an encoding that is stated, as UTF-8.
    std::string decoded(ByteView text)
    {
        if (m_encoding == Id3EncodingUtf8 && isValidUtf8(charsOf(text)))
            return std::string(charsOf(text));
        if (isUtf16(m_encoding))
            return decodedUnits(text);
        return utf8FromLatin1(text);
    }
    void addTo(TagSink& sink, TagField field, ByteView text)
    {
        if (isLegacy())
            sink.texts.addLegacy(field, text);
        else if (m_encoding == Id3EncodingUtf8)
            sink.texts.addUtf8OrLegacy(field, text);
        else
            sink.texts.add(field, decodedUnits(text));
    }
    std::string text(ByteView raw) { return isLegacy() ? utf8FromLatin1(raw) : decoded(raw); }

private:
    /// Of several values often the first alone has a mark.
    std::string decodedUnits(ByteView text)
    {
        bool marked = beginsWithUtf16Mark(text);
        if (marked)
            m_isBigEndian = text[0] == 0xFE;
        Bytes units
            = !marked && m_isBigEndian ? utf16LEFromUnits(text, *m_isBigEndian) : utf16LEFromEncoded(m_encoding, text);
        return utf8FromUtf16LE(units).value_or(std::string {});
    }

    std::uint8_t m_encoding;
    ByteView m_rest;
    std::optional<bool> m_isBigEndian;
};

void addValues(TagSink& sink, TagField field, ByteView body)
{
    FrameTexts texts(body);
    while (!texts.atEnd()) {
        ByteView value = texts.raw();
        if (value.empty())
            continue;
        if (field != TagField::Genre) {
            texts.addTo(sink, field, value);
            continue;
        }
        // Numbers and codes are ASCII, so that the names may be looked up before the charset is known.
        std::string name = texts.isLegacy() ? std::string(charsOf(value)) : texts.decoded(value);
        for (const std::string& genre : genresOfContentType(name)) {
            if (texts.isLegacy())
                sink.texts.addLegacy(field, bytesOf(genre));
            else
                sink.texts.add(field, genre);
        }
    }
}

/// Comments and lyrics: a language, a description, the text. A comment with a description is something else's: gain,
/// identification numbers of players.
void addDescribed(TagSink& sink, TagField field, ByteView body)
{
    FrameTexts texts(body);
    texts.skip(LanguageBytes);
    ByteView description = texts.raw();
    if (field == TagField::Comment && !texts.text(description).empty())
        return;
    // Several comments are one frame with zeros between; of lyrics the first counts.
    do {
        ByteView text = texts.raw();
        if (!text.empty())
            texts.addTo(sink, field, text);
    } while (field == TagField::Comment && !texts.atEnd());
}

void addPictureFrame(TagSink& sink, const TagFrame& frame)
{
    constexpr std::size_t ShortType = 3; // of v2.2
    FrameTexts texts(frame.body);
    ByteView rest = texts.rest();
    std::string mimeType;
    if (frame.storedId == "PIC") {
        mimeType = charsOf(rest.first(std::min(ShortType, rest.size())));
        texts.skip(ShortType);
    } else {
        TerminatedLength length = terminatedLength(Id3EncodingLatin1, rest);
        mimeType = charsOf(rest.first(length.length));
        texts.skip(length.next);
    }
    if (texts.atEnd() || mimeType == LinkedPictureType)
        return;
    std::uint32_t type = texts.rest()[0];
    texts.skip(1);
    ByteView description = texts.raw();
    sink.addPicture(type, mimeType, sink.wantsPictures ? texts.text(description) : std::string(), texts.rest());
}

/// v2.3 has a year, a day ("DDMM") and a time ("HHMM"); v2.4 has all in one.
struct DateFrames {
    std::string year;
    std::string day;
    std::string time;
    std::string recording; ///< v2.4's
    std::string release;
    std::string original; ///< of what was there before

    /// In a tag of another version the time stamp stands in for the year; in v2.4 a year is what has been left there,
    /// and a day beside it tells what the stamp leaves open.
    std::string text(int version) const
    {
        const bool stampCounts = !recording.empty() && (year.empty() || version == 4);
        if (stampCounts && (recording.size() > 4 || (!year.empty() && year != recording)))
            return recording;
        const std::string& counting = stampCounts ? recording : year;
        if (counting.empty())
            return release.empty() ? original : release;
        if (counting.size() != 4 || day.size() != 4)
            return counting;
        std::string date = counting + "-" + day.substr(2) + "-" + day.substr(0, 2);
        return time.size() == 4 ? date + "T" + time.substr(0, 2) + ":" + time.substr(2) : date;
    }
};

void readDate(DateFrames& date, const TagFrame& frame)
{
    bool isOriginal = frame.id == "TORY" || frame.id == "TDOR";
    std::string* part = frame.storedId == "TDRC" ? &date.recording
        : frame.id == "TYER"                     ? &date.year
        : frame.id == "TDAT"                     ? &date.day
        : frame.id == "TIME"                     ? &date.time
        : frame.id == "TDRL"                     ? &date.release
        : isOriginal                             ? &date.original
                                                 : nullptr;
    if (!part || !part->empty())
        return;
    FrameTexts texts(frame.body);
    *part = texts.text(texts.raw());
}

void addFrame(TagSink& sink, const TagFrame& frame)
{
    if (frame.id == "APIC")
        return addPictureFrame(sink, frame);
    if (frame.id == "COMM")
        return addDescribed(sink, TagField::Comment, frame.body);
    if (frame.id == "USLT")
        return addDescribed(sink, TagField::Lyrics, frame.body);
    for (const FieldOfFrame& row : Fields) {
        if (row.frame == frame.id)
            return addValues(sink, row.field, frame.body);
    }
}

} // namespace

void addId3v2(TagSink& sink, const Id3v2Tag& tag)
{
    sink.texts.beginTag();
    DateFrames date;
    for (const TagFrame& frame : tag.frames()) {
        if (!frame.readable)
            continue;
        addFrame(sink, frame);
        readDate(date, frame);
    }
    sink.texts.add(TagField::Date, date.text(tag.majorVersion()));
}

void addId3v2At(TagSink& sink, const ByteSource& source, std::uint64_t offset, std::uint64_t size)
{
    Bytes head(Id3v2Tag::HeaderSize);
    head.resize(source.readUpTo(offset, head));
    auto header = Id3v2Tag::parseHeader(head);
    if (!header || size < Id3v2Tag::HeaderSize)
        return;
    std::uint64_t wanted = std::min<std::uint64_t>(
        { std::uint64_t { header->bodySize }, size - Id3v2Tag::HeaderSize, std::uint64_t { MaxTagBytes } });
    Bytes body(static_cast<std::size_t>(std::min(wanted, source.size() - std::min(source.size(), offset))));
    body.resize(source.readUpTo(offset + Id3v2Tag::HeaderSize, body));
    addId3v2(sink, Id3v2Tag::parse(*header, offset, offset + size, std::move(body), TagSet::MaxBytesUnpacked));
}

void addId3v1(TagSink& sink, const Id3v1Tag& tag)
{
    sink.texts.beginTag();
    sink.texts.addLegacy(TagField::Title, tag.title);
    sink.texts.addLegacy(TagField::Artist, tag.artist);
    sink.texts.addLegacy(TagField::Album, tag.album);
    sink.texts.addLegacy(TagField::Date, tag.year);
    sink.texts.addLegacy(TagField::Comment, tag.comment);
    if (tag.track != 0)
        sink.texts.add(TagField::Track, std::to_string(tag.track));
    sink.texts.add(TagField::Genre, genreOfNumber(tag.genre));
}

} // namespace mv
