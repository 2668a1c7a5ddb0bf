#pragma once

#include "Base/Media/Record.h"

#include <cstdint>
#include <string_view>

namespace mv {

/// True for the types of file whose tags the service writes: MP3 and M4A.
bool hasWritableTags(std::int32_t mediaType);
/// True when the service writes what a record has under the key into files of that type.
bool isTagField(std::int32_t mediaType, std::string_view key);

/// The record for the tag updater that changes nothing of such a file, for changes to be set in. The writers read a
/// record differently: for MP3 files it is the complete state of the texts, for M4A files a missing cover means
/// "remove it". `current` is the description of the file.
Record recordKeepingTags(std::int32_t mediaType, const Record& current);
/// What empties a field there.
Value emptyTagField(std::int32_t mediaType, std::string_view key);

} // namespace mv
