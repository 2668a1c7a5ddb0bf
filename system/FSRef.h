#pragma once

#include "Base/Core/OSStatus.h"
#include "system/OpenedFile.h"
#include "system/OutputFile.h"

#include <memory>

namespace mv {

/// A reference to something that was there when the reference was made, or to a file in the making.
struct FSRef {
    OpenedFile file; ///< of a file in the making its path alone
    std::shared_ptr<OutputFile> output; ///< the file in the making; null for one that was there
};

/// Makes a reference to an existing file or folder. fnfErr when nothing is there, permErr when a folder on the way
/// may not be searched, paramErr for nil. `ref` is left alone on failure.
OSStatus FSPathMakeRef(const OpenedFile& file, FSRef& ref);

} // namespace mv
