#pragma once

#include "service/job/TagDump.h"
#include "system/OpenedFile.h"

#include <optional>

namespace mv {

/// Every field of an MPEG-4 file's tag, those that programs have added under names of their own at the end; nothing
/// where it is no MPEG-4 file that can be read.
std::optional<TagDump> dumpTags(const OpenedFile& file);

} // namespace mv
