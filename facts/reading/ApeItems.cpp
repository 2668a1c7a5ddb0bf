#include "facts/reading/ApeItems.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "Base/Media/TagLimits.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

struct FieldOfItem {
    std::string_view key;
    TagField field;
};

constexpr std::array Fields {
    FieldOfItem { "title", TagField::Title },
    FieldOfItem { "album", TagField::Album },
    FieldOfItem { "artist", TagField::Artist },
    FieldOfItem { "album artist", TagField::AlbumArtist },
    FieldOfItem { "albumartist", TagField::AlbumArtist },
    FieldOfItem { "album_artist", TagField::AlbumArtist },
    FieldOfItem { "composer", TagField::Composer },
    FieldOfItem { "genre", TagField::Genre },
    FieldOfItem { "comment", TagField::Comment },
    FieldOfItem { "year", TagField::Date },
    FieldOfItem { "date", TagField::Date },
    FieldOfItem { "track", TagField::Track },
    FieldOfItem { "disc", TagField::Disc },
    FieldOfItem { "lyrics", TagField::Lyrics },
    FieldOfItem { "bpm", TagField::Tempo },
    FieldOfItem { "compilation", TagField::Compilation },
};

constexpr std::size_t HeaderSize = 32;
constexpr std::uint32_t KindMask = 6; // 0 text, 2 bytes, 4 an address
constexpr std::uint32_t IsBytes = 2;

void addText(TagSink& sink, TagField field, ByteView value)
{
    std::string_view rest = charsOf(value);
    while (!rest.empty()) {
        auto end = std::min(rest.find('\0'), rest.size());
        sink.texts.addUtf8OrLegacy(field, bytesOf(rest.substr(0, end)));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
}

/// "Cover Art (Front)": a file name, a zero, the picture.
void addCover(TagSink& sink, std::string_view key, ByteView value)
{
    auto zero = std::find(value.begin(), value.end(), 0);
    auto name = static_cast<std::size_t>(zero - value.begin());
    ByteView data = value.subspan(std::min(name + 1, value.size()));
    constexpr std::uint32_t BackCoverType = 4;
    std::uint32_t type = key == "cover art (front)" ? FrontCoverType : key == "cover art (back)" ? BackCoverType : 0;
    sink.addPicture(type, {}, {}, data);
}

void addItem(TagSink& sink, std::string_view key, std::uint32_t flags, ByteView value)
{
    if ((flags & KindMask) == IsBytes && key.starts_with("cover art"))
        return addCover(sink, key, value);
    if ((flags & KindMask) != 0)
        return;
    for (const FieldOfItem& row : Fields) {
        if (row.key == key)
            return addText(sink, row.field, value);
    }
}

} // namespace

void addApeItems(TagSink& sink, const ByteSource& source, std::uint64_t offset, std::uint64_t size)
{
    if (size > MaxTagBytes)
        return;
    auto bytes = source.bytesAt(offset, size);
    if (!bytes)
        return;
    sink.texts.beginTag();
    ByteReader reader(*bytes);
    if (charsOf(*bytes).starts_with("APETAGEX"))
        reader.skip(HeaderSize);
    while (reader.remaining() > HeaderSize && !reader.failed()) {
        std::uint32_t length = reader.u32le();
        std::uint32_t flags = reader.u32le();
        std::string key;
        for (char c = static_cast<char>(reader.u8()); c != '\0' && !reader.failed(); c = static_cast<char>(reader.u8()))
            key += c;
        ByteView value = reader.take(length);
        if (reader.failed())
            return;
        addItem(sink, toLowerAscii(key), flags, value);
    }
}

} // namespace mv
