#pragma once

#include "Base/Core/Path.h"
#include "system/FileAttributes.h"

namespace mv {

/// File facts. No state, safe on any thread.
class NSFileManager {
public:
    /// True for whatever is at the path (a directory too); false for nil and for a dangling link.
    static bool fileExistsAtPath(const Path& path);
    static Result<FileAttributes> attributesOfItemAtPath(const Path& path);
};

} // namespace mv
