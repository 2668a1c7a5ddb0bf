#include "service/isolated/HostColumns.h"

#include "Base/Media/DescribedFile.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"

namespace mv {

namespace {

void replace(Record& record, std::string_view key, const std::optional<Value>& value)
{
    if (!record.contains(key))
        return;
    if (value)
        record.set(key, *value);
    else
        record.remove(key);
}

std::int32_t mediaTypeOf(const ReadingJob& job)
{
    // What is read as MPEG audio is said to be that, whatever its name.
    if (job.operation == ReadingOperation::DescribeMp3)
        return MVMediaTypeMP3;
    return MVMediaTypeReader::knownType(job.file.path()).value_or(MVMediaTypeUnknown);
}

} // namespace

void setHostColumns(Record& description, const ReadingJob& job)
{
    if (!job.file.path().isNil())
        setPathColumns(description, job.file.path());
    if (description.contains(MediaDBCommonColumnMediaType))
        setMediaTypeColumns(description, mediaTypeOf(job));
    replace(description, MediaDBMusicColumnDateAdded, Value(Date::now()));

    const auto& attributes = job.file.attributes();
    replace(
        description, MediaDBCommonColumnFileSize, attributes ? std::optional<Value>(attributes->size) : std::nullopt);
    // A movie states its dates itself.
    if (job.operation == ReadingOperation::DescribeMovie)
        return;
    replace(description, MediaDBMusicColumnDateModified,
        attributes ? std::optional<Value>(attributes->modificationDate) : std::nullopt);
    replace(description, MediaDBPhotoColumnDateCreated,
        attributes && attributes->creationDate ? std::optional<Value>(*attributes->creationDate) : std::nullopt);
}

} // namespace mv
