#include "cli/collection/IndexWriter.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv::cli {

namespace {

/// A power cut costs no more than the reading of so long; each one makes the disk write at once.
constexpr std::chrono::seconds SyncInterval { 5 };

/// The front of one file into another that is empty.
int copyFront(int from, int to, std::uint64_t bytes)
{
    constexpr std::size_t ChunkBytes = 256 * 1024;
    auto at = static_cast<loff_t>(0);
    auto end = static_cast<loff_t>(bytes);
    std::string chunk;
    while (at < end) {
        chunk.resize(static_cast<std::size_t>(std::min<loff_t>(end - at, ChunkBytes)));
        ssize_t got = pread(from, chunk.data(), chunk.size(), at);
        if (got == 0)
            return EIO;
        if (got < 0 && errno != EINTR)
            return errno;
        if (got > 0) {
            if (int code = writeWhole(to, std::string_view(chunk).substr(0, static_cast<std::size_t>(got))); code != 0)
                return code;
            at += got;
        }
    }
    return 0;
}

} // namespace

int writeWhole(int file, std::string_view text)
{
    while (!text.empty()) {
        ssize_t count = ::write(file, text.data(), text.size());
        if (count < 0 && errno != EINTR)
            return errno;
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return 0;
}

Result<void> IndexWriter::add(std::string_view lines, std::uint64_t kept)
{
    if (lines.empty())
        return {};
    if (m_way == Way::Update && !m_part)
        MV_TRY_VOID(makePart(kept));
    MV_TRY_VOID(write(lines));
    if (Clock::now() - m_lastSync >= SyncInterval) {
        // One that fails is told at the end.
        fdatasync(target());
        m_lastSync = Clock::now();
    }
    return {};
}

Result<void> IndexWriter::finish(std::uint64_t kept)
{
    bool isAsBefore = m_way == Way::Update && !m_part && kept == m_file.size();
    if (isAsBefore) {
        unlink(m_file.readPath().c_str());
        return {};
    }
    if (m_way == Way::Update && !m_part)
        MV_TRY_VOID(makePart(kept));
    if (fsync(target()) != 0)
        return indexFailure(errno);
    return m_part ? m_file.replaceByPart() : Result<void>();
}

/// With the rights of the file whose place it takes.
Result<void> IndexWriter::makePart(std::uint64_t kept)
{
    struct stat facts { };
    if (fstat(m_file.descriptor(), &facts) != 0)
        return indexFailure(errno);
    unlink(m_file.partPath().c_str());
    m_part = UniqueFd(open(m_file.partPath().c_str(), O_RDWR | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0600));
    if (!m_part)
        return indexFailure(errno);
    if (fchown(m_part.get(), facts.st_uid, facts.st_gid) != 0 && errno != EPERM)
        return indexFailure(errno);
    if (fchmod(m_part.get(), facts.st_mode & 07777) != 0)
        return indexFailure(errno);
    if (int code = copyFront(m_file.descriptor(), m_part.get(), kept); code != 0)
        return indexFailure(code);
    return {};
}

Result<void> IndexWriter::write(std::string_view lines)
{
    struct stat facts { };
    if (fstat(target(), &facts) != 0)
        return indexFailure(errno);
    int code = writeWhole(target(), lines);
    if (code == 0)
        return {};
    // On a full disk some of it got there.
    if (ftruncate(target(), facts.st_size) != 0)
        return indexFailure(errno);
    return indexFailure(code);
}

} // namespace mv::cli
