#include "service/tagedit/Id3NewTag.h"

#include "Base/Core/Text.h"
#include "Base/Media/GenreTable.h"
#include "id3/FrameText.h"
#include "service/tagedit/Id3NewBody.h"
#include "service/tagedit/Id3OldFrames.h"
#include "service/tagedit/PlaceText.h"
#include "service/tags/Id3TagLayout.h"

#include <algorithm>
#include <utility>

namespace mv {

namespace {

struct TextRow {
    TagKey key;
    std::string_view id;
    std::string_view userName; ///< of a text of the user's that FFmpeg takes for it
};
constexpr TextRow TextRows[] = {
    { TagKey::Title, "TIT2", "title" },
    { TagKey::Album, "TALB", "album" },
    { TagKey::Artist, "TPE1", "artist" },
    { TagKey::AlbumArtist, "TPE2", "album_artist" },
    { TagKey::Composer, "TCOM", "composer" },
    { TagKey::Genre, "TCON", "genre" },
};

/// "3/12".
struct PlaceRow {
    TagKey place;
    TagKey total;
    std::string_view id;
    std::string_view userName;
};
constexpr PlaceRow PlaceRows[] = {
    { TagKey::Track, TagKey::TrackTotal, "TRCK", "track" },
    { TagKey::Disc, TagKey::DiscTotal, "TPOS", "disc" },
};

/// The frames of a tag, first those that are there, then with the changes.
class FrameSet {
public:
    FrameSet(const TagSet& tags, const TagChanges& old)
        : m_old(old)
    {
        Id3OldFrames present(tags);
        m_version = present.version;
        m_frames = std::move(present.frames);
        if (tags.prependedTags.empty() || present.isConverted)
            change(withoutSaid(old));
    }

    void change(const TagChanges& changes)
    {
        for (const TextRow& row : TextRows) {
            if (const auto& values = changes[row.key])
                setTexts(row, row.key == TagKey::Genre ? escapedGenres(*values) : *values);
        }
        if (const auto& values = changes[TagKey::Comment])
            setComments(*values);
        for (const PlaceRow& row : PlaceRows)
            setPlace(row, changes);
        // Behind the places: where the user's own texts say a place, too, FFmpeg takes what it reads behind them.
        if (const auto& values = changes[TagKey::Date])
            setDate(values->empty() ? std::string() : values->front());
        if (changes.frontCover)
            setCover(*changes.frontCover);
    }

    Result<Id3NewTag> rendered() const
    {
        std::size_t total = 0;
        for (const NewFrame& frame : m_frames)
            total += frame.bytes.size();
        if (total > MaxTagBytes)
            return Error { Error::Kind::Limit, "the tag would be larger than tags are read" };
        Id3NewTag tag { m_version, {} };
        tag.frames.reserve(total);
        for (const NewFrame& frame : m_frames)
            tag.frames.insert(tag.frames.end(), frame.bytes.begin(), frame.bytes.end());
        return tag;
    }

private:
    /// Of what tags behind ID3v2 say that of which no frame says anything.
    TagChanges withoutSaid(TagChanges changes) const
    {
        for (const TextRow& row : TextRows) {
            if (hasFrame(row.id))
                changes[row.key].reset();
        }
        if (has([](const NewFrame& frame) { return frame.isPlainComment; }, CommentTextBegin))
            changes[TagKey::Comment].reset();
        if (has([](const NewFrame& frame) { return isDate(frame) || isDateOfOther(frame); }))
            changes[TagKey::Date].reset();
        for (const PlaceRow& row : PlaceRows) {
            if (!hasFrame(row.id))
                continue;
            changes[row.place].reset();
            changes[row.total].reset();
        }
        return changes;
    }

    /// Whether there is such a frame, and not an empty one.
    template <class Is> bool has(const Is& is, std::size_t textBegin = FrameTextBegin) const
    {
        return std::any_of(m_frames.begin(), m_frames.end(),
            [&](const NewFrame& frame) { return is(frame) && !isEmptyFrame(frame, textBegin); });
    }
    bool hasFrame(std::string_view id) const
    {
        return has([&](const NewFrame& frame) { return frame.id == id; });
    }

    /// In v2.3 a parenthesis at the front is a number's.
    TagChanges::Values escapedGenres(TagChanges::Values values) const
    {
        for (std::string& value : values) {
            if (m_version == 3 && value.starts_with('('))
                value.insert(0, "(");
        }
        return values;
    }

    void setTexts(const TextRow& row, const TagChanges::Values& values)
    {
        std::size_t place = remove([&](const NewFrame& frame) { return frame.id == row.id; });
        if (!values.empty())
            insert(behindCalled(place, row.userName), row.id, newTextBody(m_version, values));
    }

    void setComments(const TagChanges::Values& values)
    {
        std::size_t place = remove([](const NewFrame& frame) { return frame.isPlainComment; });
        place = before(place, [](const NewFrame& frame) { return isCalled(frame, "comment"); });
        if (!values.empty())
            insert(place, "COMM", newCommentBody(m_version, values)).isPlainComment = true;
    }

    /// v2.3 has a year, a day and a time of its own, and nothing more precise.
    void setDate(const std::string& date)
    {
        // A new date takes the place of the date alone; without one nothing must stay that stands in for it.
        std::size_t place
            = remove([&](const NewFrame& frame) { return isDate(frame) || (date.empty() && isDateOfOther(frame)); });
        if (date.empty())
            return;
        place = behind(place, [](const NewFrame& frame) { return frame.id == "TDRL"; });
        if (m_version == 4) {
            insert(behindCalled(place, "date"), "TDRC", newTextBody(m_version, { date }));
            return;
        }
        constexpr std::size_t DayEnd = 10;
        constexpr std::size_t MinuteEnd = 16;
        if (date.size() >= MinuteEnd)
            insert(place, "TIME", newTextBody(m_version, { date.substr(11, 2) + date.substr(14, 2) }));
        if (date.size() >= DayEnd)
            insert(place, "TDAT", newTextBody(m_version, { date.substr(8, 2) + date.substr(5, 2) }));
        insert(place, "TYER", newTextBody(m_version, { date.substr(0, 4) }));
    }

    /// What is not named of the two stays.
    void setPlace(const PlaceRow& row, const TagChanges& changes)
    {
        if (!changes.isNamed(row.place) && !changes.isNamed(row.total))
            return;
        auto isPlace = [&](const NewFrame& frame) { return frame.id == row.id; };
        auto present = std::find_if(m_frames.begin(), m_frames.end(), isPlace);
        const std::string before
            = present == m_frames.end() ? placeText({}, m_old, row.place, row.total) : present->text;
        const std::string text = placeText(before, changes, row.place, row.total);
        std::size_t place = remove(isPlace);
        if (!text.empty())
            insert(behindCalled(place, row.userName), row.id, newTextBody(m_version, { text })).text = text;
    }

    void setCover(ByteView picture)
    {
        bool isFirst = true;
        std::size_t place
            = remove([&](const NewFrame& frame) { return frame.isFrontCover && std::exchange(isFirst, false); });
        if (!picture.empty())
            insert(place, "APIC", newCoverBody(picture)).isFrontCover = true;
    }

    /// Where the first of them was; behind all that have names where none was.
    template <class Is> std::size_t remove(const Is& is)
    {
        std::vector<NewFrame> left;
        std::optional<std::size_t> place;
        for (NewFrame& frame : m_frames) {
            if (!is(frame))
                left.push_back(std::move(frame));
            else if (!place)
                place = left.size();
        }
        m_frames = std::move(left);
        return place ? *place : namedFrames();
    }

    static bool isCalled(const NewFrame& frame, std::string_view name)
    {
        return equalIgnoringAsciiCase(frame.userName, name);
    }

    /// Of comments under two names FFmpeg shows the first.
    template <class Is> std::size_t before(std::size_t place, const Is& is) const
    {
        auto other = std::find_if(m_frames.begin(), m_frames.end(), is);
        return std::min(place, static_cast<std::size_t>(other - m_frames.begin()));
    }

    /// Of other frames that it gives one name it shows the last.
    template <class Is> std::size_t behind(std::size_t place, const Is& is) const
    {
        for (std::size_t i = place; i < m_frames.size(); ++i) {
            if (is(m_frames[i]))
                place = i + 1;
        }
        return place;
    }
    std::size_t behindCalled(std::size_t place, std::string_view name) const
    {
        return behind(place, [&](const NewFrame& frame) { return isCalled(frame, name); });
    }

    std::size_t namedFrames() const
    {
        auto odd
            = std::find_if(m_frames.begin(), m_frames.end(), [](const NewFrame& frame) { return frame.isNameless; });
        return static_cast<std::size_t>(odd - m_frames.begin());
    }

    NewFrame& add(std::string_view id, ByteView body) { return insert(namedFrames(), id, body); }
    NewFrame& insert(std::size_t place, std::string_view id, ByteView body)
    {
        return *m_frames.insert(
            m_frames.begin() + static_cast<std::ptrdiff_t>(place), NewFrame::made(m_version, id, body));
    }

    const TagChanges& m_old;
    int m_version = 4;
    std::vector<NewFrame> m_frames;
};

} // namespace

Result<Id3NewTag> changedId3(const TagSet& tags, const TagChanges& changes, const TagChanges& old)
{
    FrameSet frames(tags, old);
    frames.change(changes);
    return frames.rendered();
}

Bytes id3TagBytes(const Id3NewTag& tag, std::uint64_t oldSize)
{
    constexpr std::uint64_t MaxPadding = 64 * 1024;
    constexpr std::uint64_t SparePadding = 512;
    if (tag.frames.empty())
        return {};
    std::uint64_t needed = Id3v2Tag::HeaderSize + tag.frames.size();
    bool fits = needed <= oldSize && oldSize - needed <= MaxPadding;
    // Even: there are readers of AIFF that do not know of the byte behind an odd chunk.
    std::uint64_t spare = SparePadding + needed % 2;
    std::uint64_t size = fits ? oldSize : std::min(needed + spare, Id3v2Tag::HeaderSize + MaxTagBytes);
    return tagBytes(tag.frames, size, tag.version);
}

} // namespace mv
