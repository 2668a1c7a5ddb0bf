#pragma once

#include "Base/Media/Record.h"
#include "system/FileAttributes.h"

namespace mv {

// What several describing services say of a piece of music in the same way.

/// DateModified and FileSize.
void setMusicFileColumns(Record& record, const FileAttributes& attributes);

/// The columns that say the same of every file: neither protected nor expired, without lyrics, never played, there and
/// not read-only.
void setFixedMusicColumns(Record& record);

} // namespace mv
