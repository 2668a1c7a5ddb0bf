#pragma once

#include "Base/Core/Date.h"
#include "Base/Core/Path.h"
#include "Base/Core/Result.h"

#include <cstdint>
#include <optional>

namespace mv {

/// What the file system says of a file (a symbolic link is followed).
struct FileAttributes {
    std::int64_t size = 0; ///< NSFileSize, bytes
    Date modificationDate; ///< NSFileModificationDate
    std::optional<Date> creationDate; ///< NSFileCreationDate: the birth time, where the file system keeps one
    bool isRegularFile = false;
    bool isDirectory = false;
};

/// File facts. No state, safe on any thread.
class NSFileManager {
public:
    /// True for whatever is at the path (a directory too); false for nil and for a dangling link.
    static bool fileExistsAtPath(const Path& path);
    static Result<FileAttributes> attributesOfItemAtPath(const Path& path);
};

} // namespace mv
