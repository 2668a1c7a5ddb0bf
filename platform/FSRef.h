#pragma once

#include "Base/Core/OSStatus.h"
#include "Base/Core/Path.h"

namespace mv {

/// A reference to something that was there when the reference was made.
struct FSRef {
    Path path;
};

/// Makes a reference to an existing file or folder. fnfErr when nothing is there, permErr when a folder on the way
/// may not be searched, paramErr for nil. `ref` is left alone on failure.
OSStatus FSPathMakeRef(const Path& path, FSRef& ref);

} // namespace mv
