#include "id3/Lyrics3Tag.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"

namespace mv {

namespace {

constexpr std::string_view Begin = "LYRICSBEGIN";
constexpr std::string_view End = "LYRICS200"; // of version 2; of version 1 as long
constexpr std::size_t SizeDigits = 6; // in front of version 2's end, of all bytes before them
constexpr std::size_t NameLetters = 3;
constexpr std::size_t FieldDigits = 5;

Bytes copied(ByteView text) { return { text.begin(), text.end() }; }

/// What stands between the marks.
ByteView contentOf(ByteView block, bool isVersion2)
{
    const std::size_t around = Begin.size() + End.size() + (isVersion2 ? SizeDigits : 0);
    return block.size() < around ? ByteView() : block.subspan(Begin.size(), block.size() - around);
}

void takeField(Lyrics3Tag& tag, std::string_view name, ByteView content)
{
    if (name == "ETT")
        tag.title = copied(content);
    else if (name == "EAR")
        tag.artist = copied(content);
    else if (name == "EAL")
        tag.album = copied(content);
    else if (name == "INF")
        tag.information = copied(content);
    else if (name == "LYR" && !tag.hasLyrics) {
        tag.hasLyrics = true;
        tag.lyrics = copied(content);
    } else if (name == "IND")
        tag.lyricsHaveTimes = content.size() > 1 && content[1] == '1';
}

} // namespace

Lyrics3Fields Lyrics3Fields::of(ByteView block)
{
    Lyrics3Fields all;
    ByteView rest = contentOf(block, true);
    while (rest.size() >= NameLetters + FieldDigits) {
        std::string_view name = charsOf(rest.first(NameLetters));
        std::string_view digits = charsOf(rest.subspan(NameLetters, FieldDigits));
        ByteView behind = rest.subspan(NameLetters + FieldDigits);
        auto size = static_cast<std::size_t>(leadingInteger(digits));
        if (digits.find_first_not_of("0123456789") != std::string_view::npos || size > behind.size())
            return all;
        all.fields.push_back({ name, behind.first(size), rest.first(NameLetters + FieldDigits + size) });
        rest = behind.subspan(size);
    }
    all.isWhole = rest.empty();
    return all;
}

Bytes Lyrics3Fields::block() const
{
    if (fields.empty())
        return {};
    Bytes bytes;
    ByteWriter out(bytes);
    out.text(Begin);
    for (const Lyrics3Field& field : fields)
        out.bytes(field.stored);
    out.text(formatText("%0*zu", static_cast<int>(SizeDigits), bytes.size()));
    out.text(End);
    return bytes;
}

Lyrics3Tag Lyrics3Tag::parse(ByteView block, bool isVersion2)
{
    Lyrics3Tag tag;
    if (!isVersion2) {
        tag.lyrics = copied(contentOf(block, false));
        tag.hasLyrics = !tag.lyrics.empty();
        return tag;
    }
    for (const Lyrics3Field& field : Lyrics3Fields::of(block).fields)
        takeField(tag, field.name, field.content);
    return tag;
}

} // namespace mv
