#include "service/tags/Id3TagEdit.h"

#include "Base/Media/MediaDB.h"
#include "Base/Media/TagLimits.h"
#include "service/tags/NewId3Frames.h"
#include "service/tags/ValueOfRecord.h"

namespace mv {

namespace {

// What each row takes away. Deliberate: the album artist (TPE2), the conductor (TPE3) and the composer count among the
// artists.
constexpr std::string_view Titles[] = { "TIT2" };
constexpr std::string_view Albums[] = { "TALB" };
constexpr std::string_view Artists[] = { "TPE1", "TPE2", "TPE3", "TCOM" }; // the composer comes last
constexpr std::string_view Comments[] = { "COMM" };
constexpr std::string_view Composers[] = { "TCOM" };
constexpr std::string_view Genres[] = { "TCON" };
constexpr std::string_view Tracks[] = { "TRCK" };
constexpr std::string_view Pictures[] = { "APIC" };

/// What a new artist replaces. A composer of no use is ignored, so that one stays.
std::span<const std::string_view> replacedArtists(const Record& record)
{
    std::span<const std::string_view> artists(Artists);
    return hasValueThatIsNoText(record, MediaDBMusicColumnComposer) ? artists.first(artists.size() - 1) : artists;
}

} // namespace

// The order is required: removing the artists also removes the composer, whose row then writes it.
Id3TagEdit::Id3TagEdit(const Record& record)
{
    addText(record, MediaDBMusicColumnTitle, "TIT2", Titles);
    addText(record, MediaDBMusicColumnAlbum, "TALB", Albums);
    addText(record, MediaDBMusicColumnArtist, "TPE1", replacedArtists(record));
    addComment(record);
    addText(record, MediaDBMusicColumnComposer, "TCOM", Composers);
    addGenre(record);
    addTrack(record);
    addPicture(record);
}

void Id3TagEdit::addText(
    const Record& record, std::string_view key, std::string_view id, std::span<const std::string_view> removed)
{
    if (hasValueThatIsNoText(record, key))
        return;
    Change change { .removed = removed };
    if (const std::string* text = record.string(key))
        change.added = newTextFrame(id, *text);
    m_changes.push_back(std::move(change));
}

/// A new comment replaces the one without a description only; those of other programs' private uses (volume
/// levels, gapless data) have descriptions and stay. No comment removes them all.
void Id3TagEdit::addComment(const Record& record)
{
    if (hasValueThatIsNoText(record, MediaDBCommonColumnReservedText))
        return;
    const std::string* text = record.string(MediaDBCommonColumnReservedText);
    if (!text)
        return m_changes.push_back({ .removed = Comments });
    Change change { .plainCommentsToo = true };
    change.added = newCommentFrame(*text);
    m_changes.push_back(std::move(change));
}

void Id3TagEdit::addGenre(const Record& record)
{
    const std::string* text = record.string(MediaDBMusicColumnGenre);
    if (!text)
        return;
    if (auto frame = newGenreFrame(*text))
        m_changes.push_back({ .removed = Genres, .added = std::move(frame) });
}

/// Deliberate: the track argument is one byte, so 300 becomes 44, and 256 is 0, which changes nothing. Null is not
/// guarded.
void Id3TagEdit::addTrack(const Record& record)
{
    auto number = integerOfRecord(record, MediaDBMusicColumnTrackNo);
    if (!number)
        return;
    if (auto frame = newTrackFrame(static_cast<std::uint8_t>(*number)))
        m_changes.push_back({ .removed = Tracks, .added = std::move(frame) });
}

void Id3TagEdit::addPicture(const Record& record)
{
    const Value* value = record.find(MediaDBMusicColumnAlbumArt);
    if (value && value->isNull())
        m_picture.removed = Pictures;
    else if (value && value->data())
        m_picture = { .removed = Pictures, .added = newPictureFrame(*value->data()) };
}

bool Id3TagEdit::apply(Id3FrameList& frames) const
{
    for (const Change& change : m_changes)
        apply(change, frames);
    if (m_picture.added && frames.sizeWithout(Pictures) + m_picture.added->size() > MaxTagBytes)
        return false;
    apply(m_picture, frames);
    return true;
}

void Id3TagEdit::apply(const Change& change, Id3FrameList& frames)
{
    frames.remove(change.removed);
    if (change.plainCommentsToo)
        frames.removePlainComments();
    if (change.added)
        frames.add(*change.added);
}

} // namespace mv
