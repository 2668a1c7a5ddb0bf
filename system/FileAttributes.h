#pragma once

#include "Base/Core/Date.h"
#include "Base/Core/Result.h"

#include <cstdint>
#include <optional>
#include <sys/types.h>

namespace mv {

/// Which file it is, under whatever name.
struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;

    bool operator==(const FileIdentity&) const = default;
};

/// What the file system says of a file (a symbolic link is followed).
struct FileAttributes {
    std::int64_t size = 0; ///< bytes
    Date modificationDate;
    std::optional<Date> creationDate; ///< the birth time, where the file system keeps one
    bool isRegularFile = false;
    bool isDirectory = false;
    FileIdentity identity;
    std::uint32_t names = 1; ///< hard links
};

} // namespace mv
