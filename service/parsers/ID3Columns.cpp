#include "service/parsers/ID3Columns.h"

#include "Base/Core/Text.h"
#include "Base/Media/GenreTable.h"
#include "Base/Media/MediaDB.h"
#include "id3/FrameText.h"
#include "id3/Lyrics3Tag.h"
#include "id3/V23Form.h"
#include "platform/NSImage.h"
#include "service/image/NSImageExtension.h"

#include <algorithm>
#include <vector>

namespace mv {

namespace {

struct TextColumn {
    std::string_view frame;
    std::string_view key;
};

constexpr TextColumn TextColumns[] = {
    { "COMM", MediaDBCommonColumnReservedText },
    { "TALB", MediaDBMusicColumnAlbum },
    { "TCOM", MediaDBMusicColumnComposer },
    { "TCON", MediaDBMusicColumnGenre },
    { "TIT2", MediaDBMusicColumnTitle },
    { "TPE1", MediaDBMusicColumnArtist },
    { "TRCK", MediaDBMusicColumnTrackNo },
    { "TYER", MediaDBMusicColumnDateReleased },
};

constexpr std::string_view UnknownGenre = "Unknown";

/// Bytes of all texts that are read. Only frames that nobody reads to their end come near.
constexpr std::size_t MaxTextBytes = std::size_t { 16 } << 20;

/// Collects what the frames of a file say, one after the other: a later frame of a kind takes the place of an earlier
/// one.
class FrameColumns {
public:
    explicit FrameColumns(Record& record)
        : m_record(record)
    {
    }

    void read(const TagFrame& frame)
    {
        if (frame.id == "SYLT")
            setHasLyrics();
        else if (frame.id == "APIC")
            keepPicture(frame);
        else if (const TextColumn* column = columnOf(frame.id))
            readText(*column, frame);
    }

    /// Of the tags that are no ID3v2.
    void setLegacyText(std::string_view key, ByteView text)
    {
        text = text.first(terminatedLength(Id3EncodingLatin1, text).length);
        if (!text.empty())
            set(key, utf8FromLegacy(text));
    }

    /// Deliberate: that there are timed lyrics says it, whatever they hold; lyrics without times (USLT) do not count.
    void setHasLyrics() { m_record.set(MediaDBMusicColumnHasLyrics, true); }

    /// The last picture that can be drawn, so the last is tried first.
    void setAlbumArt()
    {
        for (auto picture = m_pictures.rbegin(); picture != m_pictures.rend(); ++picture) {
            auto image = NSImage::initWithData(Bytes(picture->begin(), picture->end()));
            auto thumbnail = image ? makeThumbnailForContentCategory(*image, ThumbnailCategoryAlbumArt) : std::nullopt;
            if (thumbnail) {
                m_record.set(MediaDBMusicColumnAlbumArt, std::move(*thumbnail));
                return;
            }
        }
    }

private:
    static const TextColumn* columnOf(std::string_view frame)
    {
        auto column = std::find_if(std::begin(TextColumns), std::end(TextColumns),
            [&](const TextColumn& each) { return each.frame == frame; });
        return column == std::end(TextColumns) ? nullptr : column;
    }

    void readText(const TextColumn& column, const TagFrame& frame)
    {
        if (frame.body.size() > m_textBytesLeft)
            return;
        m_textBytesLeft -= frame.body.size();
        if (auto text = frameText(frame))
            set(column.key, std::move(*text));
    }

    void set(std::string_view key, std::string text)
    {
        if (key == MediaDBMusicColumnGenre)
            m_record.set(key, genreName(text));
        else if (key == MediaDBMusicColumnTrackNo)
            m_record.set(key, leadingInteger(text));
        else
            m_record.set(key, std::move(text));
    }

    void keepPicture(const TagFrame& frame)
    {
        auto parts = splitPicture(frame.storedId, frame.body);
        if (parts && !parts->data.empty())
            m_pictures.push_back(parts->data);
    }

    Record& m_record;
    std::vector<ByteView> m_pictures;
    std::size_t m_textBytesLeft = MaxTextBytes;
};

/// Of ID3v1 and Lyrics3, whose texts in full length go before ID3v1's.
void readOtherTags(FrameColumns& columns, const TagSet& tags, const ByteSource& source)
{
    Lyrics3Tag lyrics;
    if (tags.lyrics3) {
        auto block = source.bytesAt(tags.lyrics3->offset, static_cast<std::size_t>(tags.lyrics3->size));
        if (block.ok())
            lyrics = Lyrics3Tag::parse(*block, tags.lyrics3IsVersion2);
    }
    Id3v1Tag v1 = tags.id3v1.value_or(Id3v1Tag {});
    columns.setLegacyText(MediaDBMusicColumnTitle, lyrics.title.empty() ? v1.title : lyrics.title);
    columns.setLegacyText(MediaDBMusicColumnArtist, lyrics.artist.empty() ? v1.artist : lyrics.artist);
    columns.setLegacyText(MediaDBMusicColumnAlbum, lyrics.album.empty() ? v1.album : lyrics.album);
    columns.setLegacyText(MediaDBCommonColumnReservedText, lyrics.information);
    if (lyrics.hasLyrics && lyrics.lyricsHaveTimes)
        columns.setHasLyrics();
    columns.setLegacyText(MediaDBMusicColumnDateReleased, v1.year);
    columns.setLegacyText(MediaDBCommonColumnReservedText, v1.comment);
    if (v1.track != 0)
        columns.setLegacyText(MediaDBMusicColumnTrackNo, bytesOf(std::to_string(v1.track)));
    if (v1.genre != 255)
        columns.setLegacyText(MediaDBMusicColumnGenre, bytesOf("(" + std::to_string(v1.genre) + ")"));
}

} // namespace

void setID3Columns(Record& record, const TagSet& tags, const ByteSource& source)
{
    record.set(MediaDBMusicColumnGenre, UnknownGenre);
    FrameColumns columns(record);
    for (const Id3v2Tag& tag : tags.countingTags()) {
        for (const TagFrame& frame : tag.frames())
            columns.read(frame);
    }
    if (tags.countingTags().empty())
        readOtherTags(columns, tags, source);
    columns.setAlbumArt();
}

int getGenreNo(std::string_view text)
{
    bool opened = false;
    bool closed = false;
    std::string digits;
    for (char c : text) {
        if (c == ')') {
            closed = true;
            break;
        }
        if (c == '(')
            opened = true;
        else if (c >= '0' && c <= '9')
            digits += c;
    }
    return opened && closed ? leadingInteger(digits) : -1;
}

std::string genreName(std::string_view text)
{
    int number = getGenreNo(text);
    if (number < 0)
        return std::string(text);
    return std::string(ID3_v1_genre_description[static_cast<std::size_t>(number) % ID3_v1_genre_description.size()]);
}

} // namespace mv
