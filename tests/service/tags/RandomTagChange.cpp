#include "Base/Media/GenreTable.h"
#include "Base/Media/MediaDB.h"
#include "tests/service/tags/RandomTags.h"
#include "tests/service/tags/TagDice.h"
#include "tests/support/Mp3Maker.h"

namespace mv::test {

namespace {

std::string newText(Dice& dice)
{
    switch (dice.below(12)) {
    case 0:
        return {};
    case 1:
        return std::string(1990 + dice.below(20), 'x') + "\xF0\x9F\x98\x80 and more";
    case 2:
        return zeroed("cut\0off");
    case 3:
        return "broken \xFF\xC3";
    default:
        return std::string(dice.oneOf(TagTexts));
    }
}

/// Mostly a text, sometimes null, missing or of a kind that is none.
void setText(Dice& dice, Record& record, std::string_view key)
{
    unsigned choice = dice.below(20);
    if (choice < 12)
        record.set(key, newText(dice));
    else if (choice < 14)
        record.set(key, NullObject {});
    else if (choice < 15)
        record.set(key, OtherKind {});
}

void setNumber(Dice& dice, Record& record)
{
    unsigned choice = dice.below(20);
    if (choice < 10)
        record.set(MediaDBMusicColumnTrackNo, static_cast<std::int32_t>(dice.below(600)));
    else if (choice < 12)
        record.set(MediaDBMusicColumnTrackNo, std::string(dice.oneOf(TagTexts)));
    else if (choice < 13)
        record.set(MediaDBMusicColumnTrackNo, OtherKind {});
}

} // namespace

Record randomTagChange(unsigned number)
{
    constexpr unsigned OtherThanFiles = 1U << 30;
    Dice dice(number + OtherThanFiles);
    Record record;
    for (std::string_view key : { MediaDBMusicColumnTitle, MediaDBMusicColumnAlbum, MediaDBMusicColumnArtist,
             MediaDBCommonColumnReservedText, MediaDBMusicColumnComposer })
        setText(dice, record, key);
    if (dice.percent(30))
        record.set(MediaDBMusicColumnGenre, ID3_v1_genre_description[dice.below(ID3_v1_genre_description.size())]);
    else
        setText(dice, record, MediaDBMusicColumnGenre);
    setNumber(dice, record);
    unsigned cover = dice.below(10);
    if (cover == 0)
        record.set(MediaDBMusicColumnAlbumArt, NullObject {});
    else if (cover == 1)
        record.set(MediaDBMusicColumnAlbumArt, OtherKind {});
    else if (cover < 5) {
        ByteView picture = bytesOf(dice.oneOf(coverPictures()));
        record.set(MediaDBMusicColumnAlbumArt,
            Bytes(picture.begin(), picture.begin() + (cover < 4 ? std::ptrdiff_t(picture.size()) : 0)));
    }
    return record;
}

} // namespace mv::test
