#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Handle.h"
#include "Base/Core/Path.h"
#include "Base/Core/Result.h"

#include <cstdint>

namespace mv {

/// A regular file open for reading at any place. Opening never blocks: a FIFO, a device or a folder is refused.
/// Safe to read from several threads at once.
class InputFile {
public:
    static Result<InputFile> open(const Path& path);
    /// Takes over a descriptor that is open for reading.
    static Result<InputFile> adopt(UniqueFd fd);

    /// Bytes, when it was opened.
    std::uint64_t size() const { return m_size; }
    int fd() const { return m_fd.get(); }

    /// Reads into `target` from `offset`, as much as there is; the count is short only at the end of the file.
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const;
    /// Exactly `count` bytes, or an error; checks against the size before it allocates.
    Result<Bytes> bytesAt(std::uint64_t offset, std::size_t count) const;

private:
    InputFile(UniqueFd fd, std::uint64_t size)
        : m_fd(std::move(fd))
        , m_size(size)
    {
    }

    UniqueFd m_fd;
    std::uint64_t m_size;
};

/// The whole content of a regular file of at most `limit` bytes.
Result<Bytes> readWholeFile(const Path& path, std::uint64_t limit);

} // namespace mv
