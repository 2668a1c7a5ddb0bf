#pragma once

#include "Base/Core/Handle.h"
#include "Base/Core/Path.h"
#include "system/ByteSource.h"

#include <cstdint>

namespace mv {

/// A regular file open for reading at any place. Opening never blocks: a FIFO, a device or a folder is refused.
/// Safe to read from several threads at once.
class InputFile final : public ByteSource {
public:
    static Result<InputFile> open(const Path& path);
    /// Takes over a descriptor that is open for reading.
    static Result<InputFile> adopt(UniqueFd fd);
    /// The same of a regular file whose size the caller has just asked for.
    static InputFile adopt(UniqueFd fd, std::uint64_t size) { return { std::move(fd), size }; }
    /// A descriptor of whatever is at the path, or none, with the reason in errno.
    static UniqueFd openWithoutBlocking(const Path& path);
    /// The same for several owners.
    static Result<SharedSource> openShared(const Path& path);

    InputFile(InputFile&&) = default;
    InputFile& operator=(InputFile&&) = default;

    /// Bytes, when it was opened. Where the file has become shorter since then, reading what is gone is an error.
    std::uint64_t size() const override { return m_size; }
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override;
    int fd() const { return m_fd.get(); }
    /// Another descriptor of the file, through which nobody can write, however this one was opened. It keeps the file
    /// open, and shares neither place nor lock with this.
    Result<UniqueFd> openForReadingOnly() const;

private:
    bool becameShorter() const;

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
