#include "service/tags/MediaTag.h"

#include "Base/Core/Text.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "service/tags/UpdateID3Tag.h"
#include "service/tags/UpdateMP4Tag.h"

namespace mv {

std::optional<Record> MediaTag::podcastInfo(const Path& path)
{
    if (equalIgnoringAsciiCase(path.pathExtension(), "mp3"))
        return UpdateID3Tag().podcastInfo(path);
    return UpdateMP4Tag().podcastInfo(path);
}

bool MediaTag::updateTagWithDictionary(const Path& path, const Record& record)
{
    switch (record.integer(MediaDBCommonColumnMediaType).value_or(MVMediaTypeUnknown)) {
    case MVMediaTypeMP3:
        return UpdateID3Tag().updateTagWithDictionary(path, record);
    case MVMediaTypeM4A:
        return UpdateMP4Tag().updateTagWithDictionary(path, record);
    default:
        return false;
    }
}

} // namespace mv
