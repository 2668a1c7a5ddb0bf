#include "facts/reading/VorbisComments.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "id3/V23Form.h"

#include <algorithm>
#include <array>
#include <optional>

namespace mv {

namespace {

struct FieldOfKey {
    std::string_view key;
    TagField field;
};

constexpr std::array Fields {
    FieldOfKey { "TITLE", TagField::Title },
    FieldOfKey { "ALBUM", TagField::Album },
    FieldOfKey { "ARTIST", TagField::Artist },
    FieldOfKey { "ALBUMARTIST", TagField::AlbumArtist },
    FieldOfKey { "ALBUM ARTIST", TagField::AlbumArtist },
    FieldOfKey { "ALBUM_ARTIST", TagField::AlbumArtist },
    FieldOfKey { "COMPOSER", TagField::Composer },
    FieldOfKey { "GENRE", TagField::Genre },
    FieldOfKey { "COMMENT", TagField::Comment },
    FieldOfKey { "DATE", TagField::Date },
    FieldOfKey { "TRACKNUMBER", TagField::Track },
    FieldOfKey { "TRACK", TagField::Track },
    FieldOfKey { "TRACKTOTAL", TagField::TrackTotal },
    FieldOfKey { "TOTALTRACKS", TagField::TrackTotal },
    FieldOfKey { "DISCNUMBER", TagField::Disc },
    FieldOfKey { "DISC", TagField::Disc },
    FieldOfKey { "DISCTOTAL", TagField::DiscTotal },
    FieldOfKey { "TOTALDISCS", TagField::DiscTotal },
    FieldOfKey { "LYRICS", TagField::Lyrics },
    FieldOfKey { "UNSYNCEDLYRICS", TagField::Lyrics },
    FieldOfKey { "UNSYNCED LYRICS", TagField::Lyrics },
    FieldOfKey { "BPM", TagField::Tempo },
    FieldOfKey { "TEMPO", TagField::Tempo },
    FieldOfKey { "COMPILATION", TagField::Compilation },
};

/// What programs write in place of the usual keys; they count where those are missing.
constexpr std::array Substitutes {
    FieldOfKey { "DESCRIPTION", TagField::Comment },
    FieldOfKey { "YEAR", TagField::Date },
};

template <class Table> std::optional<TagField> fieldOf(const Table& table, std::string_view key)
{
    for (const FieldOfKey& row : table) {
        if (equalIgnoringAsciiCase(row.key, key))
            return row.field;
    }
    return std::nullopt;
}

int valueOfBase64(char c)
{
    if (c >= 'A' && c <= 'Z')
        return c - 'A';
    if (c >= 'a' && c <= 'z')
        return c - 'a' + 26;
    if (c >= '0' && c <= '9')
        return c - '0' + 52;
    return c == '+' ? 62 : c == '/' ? 63 : -1;
}

Bytes fromBase64(std::string_view text)
{
    Bytes bytes;
    bytes.reserve(text.size() / 4 * 3);
    std::uint32_t bits = 0;
    int count = 0;
    for (char c : text) {
        int value = valueOfBase64(c);
        if (value < 0)
            continue; // line ends, and the signs that fill up
        bits = bits << 6 | static_cast<std::uint32_t>(value);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes.push_back(static_cast<std::uint8_t>(bits >> count));
        }
    }
    return bytes;
}

/// True for a key that holds a picture; it is unpacked only where it is asked for.
bool addPictureOf(TagSink& sink, std::string_view key, std::string_view value)
{
    bool isBlock = equalIgnoringAsciiCase(key, "METADATA_BLOCK_PICTURE");
    if (!isBlock && !equalIgnoringAsciiCase(key, "COVERART"))
        return false;
    if (!sink.wantsPictures && !value.empty())
        sink.notePicture();
    else if (isBlock)
        addFlacPicture(sink, fromBase64(value));
    else
        sink.addPicture(FrontCoverType, {}, {}, fromBase64(value));
    return true;
}

} // namespace

void addVorbisComments(TagSink& sink, ByteView block)
{
    ByteReader reader(block);
    reader.skip(reader.u32le());
    std::uint32_t count = reader.u32le();
    std::vector<std::pair<TagField, ByteView>> substitutes;
    sink.texts.beginTag();
    for (std::uint32_t i = 0; i < count; ++i) {
        ByteView comment = reader.take(reader.u32le());
        if (reader.failed())
            break;
        std::string_view text = charsOf(comment);
        auto equals = text.find('=');
        if (equals == std::string_view::npos)
            continue;
        std::string_view key = text.substr(0, equals);
        if (addPictureOf(sink, key, text.substr(equals + 1)))
            continue;
        ByteView value = comment.subspan(equals + 1);
        if (auto field = fieldOf(Fields, key))
            sink.texts.addUtf8OrLegacy(*field, value);
        else if (auto substitute = fieldOf(Substitutes, key))
            substitutes.emplace_back(*substitute, value);
    }
    sink.texts.beginTag();
    for (const auto& [field, value] : substitutes)
        sink.texts.addUtf8OrLegacy(field, value);
}

void addFlacPicture(TagSink& sink, ByteView block)
{
    ByteReader reader(block);
    std::uint32_t type = reader.u32be();
    std::string_view mimeType = charsOf(reader.take(reader.u32be()));
    std::string_view description = charsOf(reader.take(reader.u32be()));
    reader.skip(16); // width, height, depth, colours
    ByteView data = reader.take(reader.u32be());
    if (!reader.failed() && mimeType != LinkedPictureType)
        sink.addPicture(type, mimeType, description, data);
}

} // namespace mv
