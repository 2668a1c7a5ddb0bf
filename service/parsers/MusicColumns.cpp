#include "service/parsers/MusicColumns.h"

#include "Base/Media/MediaDB.h"

namespace mv {

void setMusicFileColumns(Record& record, const FileAttributes& attributes)
{
    record.set(MediaDBMusicColumnDateModified, attributes.modificationDate);
    record.set(MediaDBCommonColumnFileSize, attributes.size);
}

void setFixedMusicColumns(Record& record)
{
    record.set(MediaDBMusicColumnDRMProperty, 0);
    record.set(MediaDBMusicColumnIsLicenseExpired, false);
    record.set(MediaDBMusicColumnHasLyrics, false); // deliberate, whatever a file's tags say
    record.set(MediaDBMusicColumnPlayState, 0);
    record.set(MediaDBCommonColumnLinkError, false);
    record.set(MediaDBMusicColumnIsReadOnly, false);
}

} // namespace mv
