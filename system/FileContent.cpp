#include "system/FileContent.h"

#include "system/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {

namespace {

// One step of copying. What was copied is compared at once, while it is in the processor's cache, and
// handed to the disk at once, so that the sync at the end has little left to wait for.
constexpr std::uint64_t ChunkBytes = 1u << 20;
constexpr std::size_t CompareBytes = 128u << 10;

/// Writes stretches one behind the other, by the cheapest way that works.
class ContentWriter {
public:
    ContentWriter(int target, const InputFile& source)
        : m_target(target)
        , m_source(source)
        , m_expected(CompareBytes)
        , m_written(CompareBytes)
    {
    }

    Result<void> literal(ByteView bytes);
    Result<void> copy(std::uint64_t from, std::uint64_t length);
    std::uint64_t position() const { return m_position; }

private:
    std::uint64_t share(std::uint64_t from, std::uint64_t length);
    Result<void> copyBytes(std::uint64_t from, std::uint64_t length);
    Result<std::uint64_t> copyInKernel(std::uint64_t from, std::uint64_t length);
    Result<std::uint64_t> copyThroughBuffer(std::uint64_t from, std::uint64_t length);
    void startWriting();
    Result<void> writeAll(std::uint64_t to, ByteView bytes);
    Result<void> compareWith(std::uint64_t to, ByteView expected);
    Result<void> compareCopy(std::uint64_t from, std::uint64_t to, std::uint64_t length);

    int m_target;
    const InputFile& m_source;
    std::uint64_t m_position = 0;
    std::uint64_t m_startedTo = 0; ///< on its way to the disk
    bool m_sharingWorks = true;
    bool m_kernelCopyWorks = true;
    Bytes m_expected;
    Bytes m_written;
};

Result<void> ContentWriter::writeAll(std::uint64_t to, ByteView bytes)
{
    while (!bytes.empty()) {
        ssize_t count = pwrite(m_target, bytes.data(), bytes.size(), static_cast<off_t>(to));
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return systemError(count < 0 ? errno : EIO, "write");
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        to += static_cast<std::uint64_t>(count);
    }
    return {};
}

Result<void> ContentWriter::compareWith(std::uint64_t to, ByteView expected)
{
    while (!expected.empty()) {
        std::size_t wanted = std::min(expected.size(), m_written.size());
        ssize_t count = pread(m_target, m_written.data(), wanted, static_cast<off_t>(to));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return systemError(errno, "reading back");
        auto length = static_cast<std::size_t>(count);
        if (length == 0 || std::memcmp(m_written.data(), expected.data(), length) != 0)
            return Error { Error::Kind::Io, "what was written reads back differently", EIO };
        expected = expected.subspan(length);
        to += length;
    }
    return {};
}

Result<void> ContentWriter::compareCopy(std::uint64_t from, std::uint64_t to, std::uint64_t length)
{
    while (length > 0) {
        auto part = static_cast<std::size_t>(std::min<std::uint64_t>(length, m_expected.size()));
        MV_TRY(got, m_source.readAt(from, std::span(m_expected).first(part)));
        if (got != part)
            return Error { Error::Kind::State, "the file became shorter while it was copied" };
        MV_TRY_VOID(compareWith(to, ByteView(m_expected).first(part)));
        from += part;
        to += part;
        length -= part;
    }
    return {};
}

Result<void> ContentWriter::literal(ByteView bytes)
{
    MV_TRY_VOID(writeAll(m_position, bytes));
    MV_TRY_VOID(compareWith(m_position, bytes));
    m_position += bytes.size();
    return {};
}

/// Shares `length` bytes at the position, whole blocks only; the count that is shared now. Any refusal means
/// that the bytes are copied.
std::uint64_t ContentWriter::share(std::uint64_t from, std::uint64_t length)
{
    struct stat facts { };
    if (!m_sharingWorks || fstat(m_target, &facts) != 0 || facts.st_blksize <= 0)
        return 0;
    auto block = static_cast<std::uint64_t>(facts.st_blksize);
    length -= length % block;
    if (length == 0 || from % block != 0 || m_position % block != 0)
        return 0;
    file_clone_range range {};
    range.src_fd = m_source.fd();
    range.src_offset = from;
    range.src_length = length;
    range.dest_offset = m_position;
    m_sharingWorks = ioctl(m_target, FICLONERANGE, &range) == 0;
    return m_sharingWorks ? length : 0;
}

Result<std::uint64_t> ContentWriter::copyInKernel(std::uint64_t from, std::uint64_t length)
{
    auto in = static_cast<off64_t>(from);
    auto out = static_cast<off64_t>(m_position);
    ssize_t count = copy_file_range(m_source.fd(), &in, m_target, &out, length, 0);
    if (count > 0)
        return static_cast<std::uint64_t>(count);
    if (count < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EIO || errno == EFBIG))
        return systemError(errno, "copy");
    // Interrupted, or a file system that cannot do it: 0 is what some report of special files.
    if (count == 0 || errno != EINTR)
        m_kernelCopyWorks = false;
    return std::uint64_t { 0 };
}

Result<std::uint64_t> ContentWriter::copyThroughBuffer(std::uint64_t from, std::uint64_t length)
{
    auto part = static_cast<std::size_t>(std::min<std::uint64_t>(length, m_expected.size()));
    MV_TRY(got, m_source.readAt(from, std::span(m_expected).first(part)));
    if (got == 0)
        return Error { Error::Kind::State, "the file became shorter while it was copied" };
    MV_TRY_VOID(writeAll(m_position, ByteView(m_expected).first(got)));
    return std::uint64_t { got };
}

Result<void> ContentWriter::copyBytes(std::uint64_t from, std::uint64_t length)
{
    while (length > 0) {
        // Up to a boundary of the target: an aligned piece of it that comes in two steps may go to the disk twice.
        std::uint64_t part = std::min(length, ChunkBytes - m_position % ChunkBytes);
        bool byKernel = m_kernelCopyWorks && part >= CompareBytes;
        MV_TRY(count, byKernel ? copyInKernel(from, part) : copyThroughBuffer(from, part));
        MV_TRY_VOID(compareCopy(from, m_position, count));
        m_position += count;
        startWriting();
        from += count;
        length -= count;
    }
    return {};
}

/// A chunk at a time, however small the stretches are. Only an early start: whether the bytes arrived is what fsync
/// tells.
void ContentWriter::startWriting()
{
    if (m_position % ChunkBytes != 0 && m_position - m_startedTo < ChunkBytes)
        return;
    sync_file_range(m_target, static_cast<off64_t>(m_startedTo), static_cast<off64_t>(m_position - m_startedTo),
        SYNC_FILE_RANGE_WRITE);
    m_startedTo = m_position;
}

/// Bytes up to the next block, whole blocks shared, the rest: sharing works when both sides stand at the same place
/// within their blocks.
Result<void> ContentWriter::copy(std::uint64_t from, std::uint64_t length)
{
    struct stat facts { };
    std::uint64_t block
        = fstat(m_target, &facts) == 0 && facts.st_blksize > 0 ? static_cast<std::uint64_t>(facts.st_blksize) : 1;
    std::uint64_t lead = m_sharingWorks && from % block == m_position % block ? (block - from % block) % block : 0;
    lead = std::min(lead, length);
    MV_TRY_VOID(copyBytes(from, lead));
    std::uint64_t shared = share(from + lead, length - lead);
    m_position += shared;
    return copyBytes(from + lead + shared, length - lead - shared);
}

} // namespace

std::uint64_t lengthOf(const FileContent& content)
{
    std::uint64_t length = 0;
    for (const FileSegment& segment : content)
        length += segment.length;
    return length;
}

Result<bool> holdsContent(const InputFile& file, const FileContent& content)
{
    if (lengthOf(content) != file.size())
        return false;
    std::uint64_t position = 0;
    for (const FileSegment& segment : content) {
        if (segment.isCopy && segment.length > 0 && segment.offset != position)
            return false;
        if (!segment.isCopy) {
            MV_TRY(present, file.bytesAt(position, segment.bytes.size()));
            if (present != segment.bytes)
                return false;
        }
        position += segment.length;
    }
    return true;
}

Result<void> writeContent(int target, const InputFile& source, const FileContent& content)
{
    ContentWriter writer(target, source);
    for (const FileSegment& segment : content)
        MV_TRY_VOID(segment.isCopy ? writer.copy(segment.offset, segment.length) : writer.literal(segment.bytes));
    while (ftruncate(target, static_cast<off_t>(writer.position())) != 0) {
        if (errno != EINTR)
            return systemError(errno, "setting the length");
    }
    return {};
}

Result<void> syncToDisk(int fd, std::string_view what)
{
    while (fsync(fd) != 0) {
        if (errno != EINTR)
            return systemError(errno, what);
    }
    return {};
}

} // namespace mv
