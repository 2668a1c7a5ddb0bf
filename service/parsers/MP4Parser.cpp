#include "service/parsers/MP4Parser.h"

#include "Base/Core/NSLog.h"
#include "Base/Media/DescribedFile.h"
#include "Base/Media/GenreTable.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "mp4/mp4.h"
#include "service/image/NSImageExtension.h"
#include "service/parsers/MP4TagDump.h"
#include "service/parsers/MusicColumns.h"

#include <array>
#include <cmath>

namespace mv {

namespace {

struct TextColumn {
    std::string_view key;
    MP4Tags::Text MP4Tags::*field;
};

constexpr std::array TextColumns = {
    TextColumn { MediaDBMusicColumnTitle, &MP4Tags::name },
    TextColumn { MediaDBMusicColumnAlbum, &MP4Tags::album },
    TextColumn { MediaDBMusicColumnArtist, &MP4Tags::artist },
    TextColumn { MediaDBMusicColumnAlbumArtist, &MP4Tags::albumArtist },
    TextColumn { MediaDBMusicColumnComposer, &MP4Tags::composer },
    TextColumn { MediaDBMusicColumnDateReleased, &MP4Tags::releaseDate },
};

void setTagColumns(Record& record, const MP4Tags& tags)
{
    for (const TextColumn& column : TextColumns) {
        if (const auto& text = tags.*column.field)
            record.set(column.key, *text);
    }
    if (tags.track)
        record.set(MediaDBMusicColumnTrackNo, std::int32_t { tags.track->index });
    if (tags.disk)
        record.set(MediaDBMusicColumnDiscNo, std::int32_t { tags.disk->index });
}

/// The text wins over the number, which counts from one. Deliberately no default where neither is there.
void setGenreColumn(Record& record, const MP4Tags& tags)
{
    if (tags.genre) {
        record.set(MediaDBMusicColumnGenre, *tags.genre);
        return;
    }
    std::size_t index = std::size_t { tags.genreType.value_or(0) } - 1; // 0 wraps, and is no genre
    if (index < ID3_v1_genre_description.size())
        record.set(MediaDBMusicColumnGenre, ID3_v1_genre_description[index]);
}

void setAlbumArtColumn(Record& record, MP4Tags& tags)
{
    if (tags.artwork.empty())
        return;
    auto image = NSImage::initWithData(std::move(tags.artwork[0].data));
    if (!image)
        return;
    if (auto thumbnail = makeThumbnailForContentCategory(*image, ThumbnailCategoryAlbumArt))
        record.set(MediaDBMusicColumnAlbumArt, std::move(*thumbnail));
}

void setSoundColumns(Record& record, Mp4File& movie)
{
    MP4TrackId track = MP4FindTrackId(movie, 0, "soun", 0);
    if (track == MP4_INVALID_TRACK_ID)
        return;
    double duration = static_cast<double>(MP4GetTrackDuration(movie, track));
    double timeScale = MP4GetTrackTimeScale(movie, track);
    if (timeScale > 0) {
        // Deliberately floating-point, and the time scale in the place of the sample rate: clients know them so.
        record.set(MediaDBMusicColumnPlayLength, std::floor(duration / timeScale));
        record.set(MediaDBMusicColumnSamplerate, timeScale);
    }
    double kilobits = MP4GetTrackBitRate(movie, track) / 1000.0;
    if (kilobits > 0)
        record.set(MediaDBMusicColumnBitrate, static_cast<std::int32_t>(std::floor(kilobits)));
}

} // namespace

std::optional<Record> MP4Parser::build(const OpenedFile& file)
{
    auto movie = MP4Read(file.content());
    if (!movie.ok()) {
        NSLog("MP4Parser file open fail");
        return std::nullopt;
    }
    MP4Tags tags = MP4TagsAlloc();
    MP4TagsFetch(tags, *movie);
    Record record;
    setPathColumns(record, file.path());
    setTagColumns(record, tags);
    setGenreColumn(record, tags);
    setAlbumArtColumn(record, tags);
    setNewMusicColumns(record);
    if (file.exists())
        setMusicFileColumns(record, *file.attributes());
    setMediaTypeColumns(record, MVMediaTypeReader::type(file.path()));
    setFixedMusicColumns(record);
    setSoundColumns(record, *movie);
    return record;
}

int MP4Parser::testMp4v2(const EditableFile& file, std::FILE* out)
{
    auto movie = MP4Modify(file, 0);
    if (!movie) {
        std::fputs("MP4Modify failed\n", out);
        return 1;
    }
    MP4Tags tags = MP4TagsAlloc();
    MP4TagsFetch(tags, *movie);
    dumpTags(tags, out);
    return 0; // nothing was stored, so closing writes nothing
}

} // namespace mv
