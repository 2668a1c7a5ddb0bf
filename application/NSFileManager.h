#pragma once

#include "Base/Core/Path.h"

namespace mv {

/// What is in the file system. No state, safe on any thread.
class NSFileManager {
public:
    /// True for whatever is at the path (a directory too); false for nil and for a dangling link.
    static bool fileExistsAtPath(const Path& path);
};

} // namespace mv
