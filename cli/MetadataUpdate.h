#pragma once

#include "Base/Core/Path.h"
#include "mp4/MetadataEdit.h"

namespace mv::cli {

/// Changes the metadata of an MPEG-4 file, which is replaced whole or not at all.
Result<void> updateMetadata(const Path& path, MetadataEdit::Change change);

} // namespace mv::cli
