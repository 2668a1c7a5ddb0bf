#include "service/tags/MediaTag.h"

#include "Base/Core/Text.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "service/tags/UpdateID3Tag.h"
#include "service/tags/UpdateMP4Tag.h"

namespace mv {

std::optional<Record> MediaTag::podcastInfo(const OpenedFile& file)
{
    if (equalIgnoringAsciiCase(file.path().pathExtension(), "mp3"))
        return UpdateID3Tag().podcastInfo(file);
    return UpdateMP4Tag().podcastInfo(file);
}

bool MediaTag::updateTagWithDictionary(EditableFile& file, const Record& record)
{
    switch (record.integer(MediaDBCommonColumnMediaType).value_or(MVMediaTypeUnknown)) {
    case MVMediaTypeMP3:
        return UpdateID3Tag().updateTagWithDictionary(file, record);
    case MVMediaTypeM4A:
        return UpdateMP4Tag().updateTagWithDictionary(file, record);
    default:
        return false;
    }
}

} // namespace mv
