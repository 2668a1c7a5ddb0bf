#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace mv::cli {

/// What tells whether a file is still as it was when it was read: a replaced one is another inode, a rewritten one has
/// another time.
struct FileStamp {
    std::uint64_t size = 0; ///< bytes
    std::int64_t seconds = 0; ///< of the modification time, since 1970 UTC
    std::uint32_t nanoseconds = 0;
    std::uint64_t inode = 0;

    bool operator==(const FileStamp&) const = default;

    /// Nothing where there is no such file, or it is no regular one any more. Links are followed.
    static std::optional<FileStamp> of(const std::string& path);
};

} // namespace mv::cli
