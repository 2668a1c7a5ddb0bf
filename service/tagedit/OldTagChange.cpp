#include "service/tagedit/OldTagChange.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "Base/Media/GenreTable.h"
#include "id3/Lyrics3Tag.h"
#include "service/tagedit/PlaceText.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

// ID3v1

struct Field {
    TagKey key;
    std::size_t offset;
    std::size_t size;
};
constexpr std::array Fields {
    Field { TagKey::Title, 3, 30 },
    Field { TagKey::Artist, 33, 30 },
    Field { TagKey::Album, 63, 30 },
    Field { TagKey::Date, 93, 4 },
    Field { TagKey::Comment, 97, 28 },
};
constexpr std::size_t CommentEnd = 125; // of version 1.1
constexpr std::size_t Track = 126;
constexpr std::size_t Genre = 127;
constexpr std::uint8_t NoGenre = 255;

/// Nothing where a character has none.
std::optional<Bytes> latin1Of(std::string_view text)
{
    Bytes bytes;
    for (char16_t unit : utf16FromUtf8(text)) {
        if (unit > 0xFF)
            return std::nullopt;
        bytes.push_back(static_cast<std::uint8_t>(unit));
    }
    return bytes;
}

std::uint8_t genreNumber(const TagChanges::Values& values)
{
    const auto& names = ID3_v1_genre_description;
    auto name = values.empty() ? names.end() : std::find(names.begin(), names.end(), values.front());
    return name == names.end() ? NoGenre : static_cast<std::uint8_t>(name - names.begin());
}

// APE

struct Item {
    TagKey key;
    std::string_view name; ///< the first of a key is how it is written
};
constexpr std::array Items {
    Item { TagKey::Title, "Title" },
    Item { TagKey::Album, "Album" },
    Item { TagKey::Artist, "Artist" },
    Item { TagKey::AlbumArtist, "Album Artist" },
    Item { TagKey::AlbumArtist, "AlbumArtist" },
    Item { TagKey::AlbumArtist, "Album_Artist" },
    Item { TagKey::Composer, "Composer" },
    Item { TagKey::Genre, "Genre" },
    Item { TagKey::Comment, "Comment" },
    Item { TagKey::Date, "Year" },
    Item { TagKey::Date, "Date" },
    Item { TagKey::Track, "Track" },
    Item { TagKey::Disc, "Disc" },
};

constexpr std::size_t HeaderSize = 32;
constexpr std::string_view Mark = "APETAGEX";
constexpr std::string_view FrontCover = "Cover Art (Front)";

std::optional<TagKey> keyOf(std::string_view name)
{
    for (const Item& item : Items) {
        if (equalIgnoringAsciiCase(item.name, name))
            return item.key;
    }
    return std::nullopt;
}

class ApeChange {
public:
    explicit ApeChange(const TagChanges& changes)
        : m_changes(changes)
    {
    }

    /// False where the tag cannot be read.
    bool run(ByteView tag)
    {
        ByteReader in(tag);
        while (in.remaining() > HeaderSize) {
            std::size_t begin = in.position();
            std::uint32_t length = in.u32le();
            in.skip(4);
            std::string name;
            for (char c = static_cast<char>(in.u8()); c != '\0' && !in.failed(); c = static_cast<char>(in.u8()))
                name += c;
            ByteView value = in.take(length);
            if (in.failed())
                return false;
            take(name, value, tag.subspan(begin, in.position() - begin));
        }
        return true;
    }

    bool hasChanged = false;
    std::uint32_t count = 0;
    Bytes items;

private:
    void take(const std::string& name, ByteView value, ByteView stored)
    {
        auto key = keyOf(name);
        if (key && isNamed(*key)) {
            hasChanged = true;
            return put(*key, name, value);
        }
        if (m_changes.frontCover && equalIgnoringAsciiCase(name, FrontCover)) {
            hasChanged = true;
            return putCover(name);
        }
        ++count;
        ByteWriter(items).bytes(stored);
    }

    bool isNamed(TagKey key) const
    {
        if (key == TagKey::Track)
            return m_changes.isNamed(key) || m_changes.isNamed(TagKey::TrackTotal);
        if (key == TagKey::Disc)
            return m_changes.isNamed(key) || m_changes.isNamed(TagKey::DiscTotal);
        return m_changes.isNamed(key);
    }

    void put(TagKey key, std::string_view name, ByteView old)
    {
        std::string text;
        if (key == TagKey::Track)
            text = placeText(charsOf(old), m_changes, key, TagKey::TrackTotal);
        else if (key == TagKey::Disc)
            text = placeText(charsOf(old), m_changes, key, TagKey::DiscTotal);
        else
            for (const std::string& value : *m_changes[key])
                text += (text.empty() ? std::string() : std::string(1, '\0')) + value;
        if (!text.empty())
            putItem(name, 0, bytesOf(text));
    }

    void putCover(std::string_view name)
    {
        constexpr std::uint32_t IsBytes = 2;
        const Bytes& picture = *m_changes.frontCover;
        if (picture.empty())
            return;
        Bytes value;
        ByteWriter out(value);
        out.text(coverMimeType(picture) == "image/png" ? "cover.png" : "cover.jpg");
        out.u8(0);
        out.bytes(picture);
        putItem(name, IsBytes, value);
    }

    void putItem(std::string_view name, std::uint32_t flags, ByteView value)
    {
        ++count;
        ByteWriter out(items);
        out.u32le(static_cast<std::uint32_t>(value.size()));
        out.u32le(flags);
        out.text(name);
        out.u8(0);
        out.bytes(value);
    }

    const TagChanges& m_changes;
};

/// A header or a footer with the size of the items and the footer, and their number.
Bytes withCounts(ByteView end, std::size_t itemBytes, std::uint32_t count)
{
    Bytes bytes;
    ByteWriter out(bytes);
    out.bytes(end.first(12));
    out.u32le(static_cast<std::uint32_t>(itemBytes + HeaderSize));
    out.u32le(count);
    out.bytes(end.subspan(20, 12));
    return bytes;
}

// Lyrics3

struct LyricsField {
    std::string_view name;
    TagKey key;
};
constexpr std::array LyricsFields {
    LyricsField { "ETT", TagKey::Title },
    LyricsField { "EAR", TagKey::Artist },
    LyricsField { "EAL", TagKey::Album },
    LyricsField { "INF", TagKey::Comment },
};

bool isNamedLyricsField(std::string_view name, const TagChanges& changes)
{
    auto row = std::ranges::find(LyricsFields, name, &LyricsField::name);
    return row != LyricsFields.end() && changes.isNamed(row->key);
}

} // namespace

Bytes changedId3v1(Bytes tag, const TagChanges& changes)
{
    for (const Field& field : Fields) {
        const auto& values = changes[field.key];
        if (!values)
            continue;
        auto begin = tag.begin() + static_cast<std::ptrdiff_t>(field.offset);
        bool isLongComment = field.key == TagKey::Comment && tag[CommentEnd] != 0;
        std::fill_n(begin, field.size + (isLongComment ? 2 : 0), 0);
        auto text = values->empty() ? std::nullopt : latin1Of(values->front());
        if (text)
            std::copy_n(text->begin(), std::min(text->size(), field.size), begin);
    }
    bool hasTrack = tag[CommentEnd] == 0;
    if (changes.isNamed(TagKey::Track) && hasTrack) {
        std::uint16_t number = changes.number(TagKey::Track);
        tag[Track] = static_cast<std::uint8_t>(number <= 255 ? number : 0);
    }
    if (const auto& values = changes[TagKey::Genre])
        tag[Genre] = genreNumber(*values);
    return tag;
}

std::optional<Bytes> changedApe(ByteView tag, const TagChanges& changes)
{
    bool hasHeader = charsOf(tag).starts_with(Mark);
    std::size_t begin = hasHeader ? HeaderSize : 0;
    if (tag.size() < begin + HeaderSize || !charsOf(tag.last(HeaderSize)).starts_with(Mark))
        return std::nullopt;
    ApeChange change(changes);
    if (!change.run(tag.subspan(begin)) || !change.hasChanged)
        return std::nullopt;
    if (change.count == 0)
        return Bytes();
    Bytes bytes;
    ByteWriter out(bytes);
    if (hasHeader)
        out.bytes(withCounts(tag.first(HeaderSize), change.items.size(), change.count));
    out.bytes(change.items);
    out.bytes(withCounts(tag.last(HeaderSize), change.items.size(), change.count));
    return bytes;
}

std::optional<Bytes> changedLyrics3(ByteView block, const TagChanges& changes)
{
    auto all = Lyrics3Fields::of(block);
    auto isNamed = [&](const Lyrics3Field& field) { return isNamedLyricsField(field.name, changes); };
    if (!all.isWhole || std::erase_if(all.fields, isNamed) == 0)
        return std::nullopt;
    return all.block();
}

} // namespace mv
