#include "id3/Id3v1Tag.h"

#include "Base/Core/ByteReader.h"

namespace mv {

namespace {

Bytes fieldText(ByteView field)
{
    std::size_t length = 0;
    while (length < field.size() && field[length] != 0)
        ++length;
    while (length > 0 && field[length - 1] == ' ')
        --length;
    return Bytes(field.begin(), field.begin() + static_cast<std::ptrdiff_t>(length));
}

} // namespace

std::optional<Id3v1Tag> Id3v1Tag::parse(ByteView bytes)
{
    if (bytes.size() != Size || !charsOf(bytes).starts_with("TAG"))
        return std::nullopt;
    ByteReader reader(bytes.subspan(3));
    Id3v1Tag tag;
    tag.title = fieldText(reader.take(30));
    tag.artist = fieldText(reader.take(30));
    tag.album = fieldText(reader.take(30));
    tag.year = fieldText(reader.take(4));
    ByteView comment = reader.take(30);
    // Version 1.1: a zero byte, then a track that is not zero.
    bool hasTrack = comment[28] == 0 && comment[29] != 0;
    tag.comment = fieldText(comment.first(hasTrack ? 28 : 30));
    tag.track = hasTrack ? comment[29] : 0;
    tag.genre = reader.u8();
    return tag;
}

} // namespace mv
