#include "service/parsers/ID3Columns.h"

#include "Base/Core/Text.h"
#include "Base/Media/GenreTable.h"
#include "Base/Media/MediaDB.h"
#include "id3/CleanTag.h"
#include "id3/FrameText.h"
#include "platform/NSImage.h"
#include "service/image/NSImageExtension.h"

#include <id3/tag.h>
#include <memory>
#include <vector>

namespace mv {

namespace {

struct TextColumn {
    ID3_FrameID frame;
    std::string_view key;
};

// Frames whose text is the column as it is.
constexpr std::array TextColumns = {
    TextColumn { ID3FID_COMMENT, MediaDBCommonColumnReservedText },
    TextColumn { ID3FID_ALBUM, MediaDBMusicColumnAlbum },
    TextColumn { ID3FID_COMPOSER, MediaDBMusicColumnComposer },
    TextColumn { ID3FID_TITLE, MediaDBMusicColumnTitle },
    TextColumn { ID3FID_LEADARTIST, MediaDBMusicColumnArtist },
    TextColumn { ID3FID_YEAR, MediaDBMusicColumnDateReleased },
};

constexpr std::string_view UnknownGenre = "Unknown";

/// id3lib's iterators have no virtual destructor: each is given back as what it is made as, never through `delete` of
/// the interface. Theirs holds two list positions and needs no destructor to run.
struct ReleaseIterator {
    void operator()(ID3_Tag::Iterator* iterator) const noexcept { ::operator delete(iterator); }
};

class FrameColumns {
public:
    FrameColumns(Record& record, const CleanTag& clean)
        : m_record(record)
        , m_clean(clean)
    {
    }

    void readAll(ID3_Tag& tag)
    {
        std::unique_ptr<ID3_Tag::Iterator, ReleaseIterator> frames(tag.CreateIterator());
        while (const ID3_Frame* frame = frames->GetNext())
            read(*frame);
        setAlbumArt();
    }

private:
    void read(const ID3_Frame& frame)
    {
        switch (frame.GetID()) {
        case ID3FID_PICTURE:
            keepPicture(frame);
            return;
        // Deliberate: lyrics without times (USLT) do not count.
        case ID3FID_SYNCEDLYRICS:
            m_record.set(MediaDBMusicColumnHasLyrics, true);
            return;
        case ID3FID_CONTENTTYPE:
            if (auto text = frameText(frame))
                m_record.set(MediaDBMusicColumnGenre, genreName(*text));
            return;
        case ID3FID_TRACKNUM:
            if (auto text = frameText(frame))
                m_record.set(MediaDBMusicColumnTrackNo, leadingInteger(*text));
            return;
        default:
            readTextColumn(frame);
        }
    }

    void readTextColumn(const ID3_Frame& frame)
    {
        for (const TextColumn& column : TextColumns) {
            if (column.frame != frame.GetID())
                continue;
            if (auto text = frameText(frame))
                m_record.set(column.key, *text);
        }
    }

    void keepPicture(const ID3_Frame& frame)
    {
        const ID3_Field* data = frame.GetField(ID3FN_DATA);
        if (!data)
            return;
        ByteView picture = m_clean.pictureFor({ data->GetRawBinary(), data->Size() });
        if (!picture.empty())
            m_pictures.push_back(picture);
    }

    /// The last picture that can be drawn, as a later frame takes the place of an earlier one; so the last is tried
    /// first.
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

    Record& m_record;
    const CleanTag& m_clean;
    std::vector<ByteView> m_pictures;
};

} // namespace

void setID3Columns(Record& record, const TagSet& tags, const ByteSource& source)
{
    ID3_Tag tag;
    CleanTag clean = CleanTag::ofId3v2(tags);
    if (clean.link(tag) == 0) {
        tag.Clear();
        clean = CleanTag::ofOtherTags(tags, source);
        clean.link(tag);
    }
    record.set(MediaDBMusicColumnGenre, UnknownGenre);
    FrameColumns(record, clean).readAll(tag);
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
