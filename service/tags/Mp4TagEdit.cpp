#include "service/tags/Mp4TagEdit.h"

#include "Base/Media/GenreTable.h"
#include "Base/Media/MediaDB.h"
#include "pictures/ImageEncoder.h"
#include "platform/NSImage.h"
#include "service/tags/ValueOfRecord.h"

#include <new>

namespace mv {

namespace {

struct TextRow {
    std::string_view key;
    void (*set)(MP4Tags&, TagText);
};

constexpr TextRow TextRows[] = {
    { MediaDBMusicColumnTitle, &MP4TagsSetName },
    { MediaDBMusicColumnAlbum, &MP4TagsSetAlbum },
    { MediaDBMusicColumnArtist, &MP4TagsSetArtist },
    { MediaDBMusicColumnAlbumArtist, &MP4TagsSetAlbumArtist },
    { MediaDBMusicColumnComposer, &MP4TagsSetComposer },
    { MediaDBMusicColumnGenre, &MP4TagsSetGenre },
    { MediaDBMusicColumnDateReleased, &MP4TagsSetReleaseDate },
};

/// The number cut to 16 bits; nothing when the record has none. Null is not guarded.
std::optional<std::uint16_t> number(const Record& record, std::string_view key)
{
    auto value = integerOfRecord(record, key);
    return value ? std::optional(static_cast<std::uint16_t>(*value)) : std::nullopt;
}

/// The picture as a JPEG of default quality; nothing when it cannot be decoded or encoded, for want of memory, too: the
/// texts are written without it.
std::optional<Bytes> jpegOf(const Bytes& picture)
try {
    auto image = NSImage::initWithData(picture);
    if (!image || image->representations().empty())
        return std::nullopt;
    const NSImageRep& representation = *image->representations().front();
    auto bitmap = representation.scaledTo(representation.pixelsWide(), representation.pixelsHigh());
    auto jpeg = bitmap.ok() ? encodeJpeg(*bitmap) : Result<Bytes>(bitmap.error());
    return jpeg.ok() ? std::optional(std::move(*jpeg)) : std::nullopt;
} catch (const std::bad_alloc&) {
    return std::nullopt;
}

/// A genre by number stays only where it says what the text says: programs differ in which of the two they show.
void dropOtherGenreNumber(MP4Tags& tags)
{
    std::size_t index = std::size_t { tags.genreType.value_or(0) } - 1; // counts from one; 0 wraps, and is no genre
    if (index >= ID3_v1_genre_description.size() || ID3_v1_genre_description[index] != tags.genre)
        MP4TagsSetGenreType(tags, std::nullopt);
}

/// A new index keeps a total that is greater; else it is the total itself.
MP4TagTrack renumbered(const std::optional<MP4TagTrack>& present, std::uint16_t index)
{
    bool keepsTotal = present && present->total > index;
    return { index, keepsTotal ? present->total : index };
}

} // namespace

Mp4TagEdit::Mp4TagEdit(const Record& record)
    : m_track(number(record, MediaDBMusicColumnTrackNo))
    , m_disc(number(record, MediaDBMusicColumnDiscNo))
{
    for (const TextRow& row : TextRows) {
        if (const std::string* text = record.string(row.key))
            m_texts.push_back({ row.set, *text });
    }
    m_setsGenre = record.string(MediaDBMusicColumnGenre) != nullptr;
    const Value* picture = record.find(MediaDBMusicColumnAlbumArt);
    m_clearsArtwork = !picture || picture->isNull();
    if (picture && picture->data())
        m_artwork = jpegOf(*picture->data());
}

MP4ItmfItemList Mp4TagEdit::applied(const MP4ItmfItemList& before, bool withArtwork) const
{
    MP4Tags tags = tagsFromItems(before);
    applyTexts(tags);
    if (withArtwork)
        applyArtwork(tags);
    return itemsWithTags(before, tags);
}

void Mp4TagEdit::applyTexts(MP4Tags& tags) const
{
    for (const TextChange& change : m_texts)
        change.set(tags, change.text);
    if (m_setsGenre)
        dropOtherGenreNumber(tags);
    if (m_track)
        MP4TagsSetTrack(tags, renumbered(tags.track, *m_track));
    if (m_disc)
        MP4TagsSetDisk(tags, renumbered(tags.disk, *m_disc));
}

/// Deliberate: a record without a picture deletes the first cover, one with a picture that is none leaves it.
void Mp4TagEdit::applyArtwork(MP4Tags& tags) const
{
    if (tags.artworkCount() == 0) {
        if (m_artwork)
            MP4TagsAddArtwork(tags, { *m_artwork, MP4_ART_JPEG });
    } else if (m_clearsArtwork) {
        MP4TagsRemoveArtwork(tags, 0);
    } else if (m_artwork) {
        MP4TagsSetArtwork(tags, 0, { *m_artwork, MP4_ART_JPEG });
    }
}

} // namespace mv
