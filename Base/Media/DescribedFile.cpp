#include "Base/Media/DescribedFile.h"

#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"

namespace mv {

void setPathColumns(Record& record, const Path& path)
{
    record.set(MediaDBCommonColumnFilePath, path.text());
    record.set(MediaDBCommonColumnFileName, path.lastPathComponent());
    record.set(MediaDBCommonColumnIsManaged, false);
}

void setMediaTypeColumns(Record& record, std::int32_t mediaType)
{
    record.set(MediaDBCommonColumnMediaType, mediaType);
    record.set(MediaDBCommonColumnFileTypeString, MVMediaTypeReader::typeName(mediaType));
}

void setNewMusicColumns(Record& record)
{
    record.set(MediaDBMusicColumnPlayCount, 0);
    record.set(MediaDBMusicColumnRating, 0);
    record.set(MediaDBMusicColumnAlbumRating, 0);
    record.set(MediaDBMusicColumnDateAdded, Date::now());
}

} // namespace mv
