#include "client/TagFields.h"

#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

struct Field {
    std::string_view key;
    bool inMP3;
    bool inM4A;
};

constexpr std::array Fields {
    Field { MediaDBMusicColumnTitle, true, true },
    Field { MediaDBMusicColumnArtist, true, true },
    Field { MediaDBMusicColumnAlbum, true, true },
    Field { MediaDBMusicColumnAlbumArtist, false, true },
    Field { MediaDBMusicColumnComposer, true, true },
    Field { MediaDBMusicColumnGenre, true, true },
    Field { MediaDBMusicColumnDateReleased, false, true },
    Field { MediaDBCommonColumnReservedText, true, false },
    Field { MediaDBMusicColumnTrackNo, true, true },
    Field { MediaDBMusicColumnDiscNo, false, true },
    Field { MediaDBMusicColumnAlbumArt, true, true },
};

// The texts that an MP3 file loses when the record lacks them.
constexpr std::array WholeStateOfMP3 { MediaDBMusicColumnTitle, MediaDBMusicColumnAlbum, MediaDBMusicColumnArtist,
    MediaDBCommonColumnReservedText, MediaDBMusicColumnComposer };

bool isWholeStateOfMP3(std::string_view key)
{
    return std::find(WholeStateOfMP3.begin(), WholeStateOfMP3.end(), key) != WholeStateOfMP3.end();
}

} // namespace

bool hasWritableTags(std::int32_t mediaType) { return mediaType == MVMediaTypeMP3 || mediaType == MVMediaTypeM4A; }

bool isTagField(std::int32_t mediaType, std::string_view key)
{
    return std::any_of(Fields.begin(), Fields.end(), [&](const Field& field) {
        return field.key == key
            && ((mediaType == MVMediaTypeMP3 && field.inMP3) || (mediaType == MVMediaTypeM4A && field.inM4A));
    });
}

Record recordKeepingTags(std::int32_t mediaType, const Record& current)
{
    Record record { { MediaDBCommonColumnMediaType, mediaType } };
    if (mediaType == MVMediaTypeMP3) {
        for (std::string_view key : WholeStateOfMP3) {
            if (const Value* value = current.find(key))
                record.set(key, *value);
        }
    } else {
        // Neither a picture nor the null object: the MP4 writer leaves the cover alone.
        record.set(MediaDBMusicColumnAlbumArt, "");
    }
    return record;
}

// The ID3 writer takes the null object for the texts it knows as a whole and for pictures, the MP4 writer for pictures;
// everything else is emptied by an empty text or the number 0.
Value emptyTagField(std::int32_t mediaType, std::string_view key)
{
    if (key == MediaDBMusicColumnAlbumArt || (mediaType == MVMediaTypeMP3 && isWholeStateOfMP3(key)))
        return NullObject();
    bool isNumber = key == MediaDBMusicColumnTrackNo || key == MediaDBMusicColumnDiscNo;
    return isNumber ? Value(std::int32_t { 0 }) : Value("");
}

} // namespace mv
