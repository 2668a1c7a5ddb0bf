#include "id3/Lyrics3Tag.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"

namespace mv {

namespace {

constexpr std::size_t BeginSize = 11; // "LYRICSBEGIN"
constexpr std::size_t EndSize = 9; // "LYRICS200", "LYRICSEND"
constexpr std::size_t SizeDigits = 6;

Bytes copied(ByteView text) { return { text.begin(), text.end() }; }

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
    else if (name == "LYR")
        tag.hasLyrics = true;
    else if (name == "IND")
        tag.lyricsHaveTimes = content.size() > 1 && content[1] == '1';
}

} // namespace

Lyrics3Tag Lyrics3Tag::parse(ByteView block, bool isVersion2)
{
    Lyrics3Tag tag;
    std::size_t frame = BeginSize + EndSize + (isVersion2 ? SizeDigits : 0);
    if (block.size() < frame)
        return tag;
    ByteView content = block.subspan(BeginSize, block.size() - frame);
    if (!isVersion2) {
        tag.hasLyrics = !content.empty();
        return tag;
    }
    // Fields of a three-letter name, five digits and so many bytes.
    ByteReader reader(content);
    while (!reader.failed() && !reader.atEnd()) {
        std::string_view name = charsOf(reader.take(3));
        std::string_view digits = charsOf(reader.take(5));
        if (digits.find_first_not_of("0123456789") != std::string_view::npos)
            break;
        ByteView field = reader.take(static_cast<std::size_t>(leadingInteger(digits)));
        if (!reader.failed())
            takeField(tag, name, field);
    }
    return tag;
}

} // namespace mv
