#pragma once

#include "system/InputFile.h"

#include <cstdint>
#include <vector>

namespace mv {

/// A stretch of a file's new content: bytes of the old file, or bytes given here.
struct FileSegment {
    static FileSegment copy(std::uint64_t offset, std::uint64_t length) { return { true, offset, length, {} }; }
    static FileSegment literal(Bytes bytes)
    {
        std::uint64_t length = bytes.size();
        return { false, 0, length, std::move(bytes) };
    }

    bool isCopy = false;
    std::uint64_t offset = 0; ///< in the old file; copies only
    std::uint64_t length = 0;
    Bytes bytes; ///< literals only
};

/// File systems that share blocks between files mostly have blocks of this size. Content that moves within a file by
/// whole blocks costs next to nothing there, whatever its length.
inline constexpr std::uint64_t SharedBlockBytes = 4096;

/// A file's whole new content, first stretch first.
using FileContent = std::vector<FileSegment>;

std::uint64_t lengthOf(const FileContent& content);

/// True when the file already holds exactly this content; reads only what literals are compared with.
Result<bool> holdsContent(const InputFile& file, const FileContent& content);

/// Writes the content to `target` (open for reading and writing) from its start, and sets the length. Blocks are
/// shared with `source` where the file system can; everything else is copied and read back, each written byte compared
/// with what it had to be. `source` must not be the file behind `target`. Interrupted and short writes are
/// continued; nothing is synced.
Result<void> writeContent(int target, const InputFile& source, const FileContent& content);

/// fsync, again after an interruption.
Result<void> syncToDisk(int fd, std::string_view what);

} // namespace mv
