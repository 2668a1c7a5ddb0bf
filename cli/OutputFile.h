#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Path.h"
#include "Base/Core/Result.h"

namespace mv::cli {

/// Writes a whole file; a failed write leaves no half one.
Result<void> writeFile(const Path& path, ByteView content);

} // namespace mv::cli
