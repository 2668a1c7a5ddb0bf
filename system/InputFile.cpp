#include "system/InputFile.h"

#include "Base/Core/Text.h"
#include "system/DescriptorStat.h"
#include "system/SystemError.h"
#include "system/UserFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {

UniqueFd InputFile::openWithoutBlocking(const Path& path)
{
    return openUserFile(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
}

Result<InputFile> InputFile::open(const Path& path)
{
    if (path.isNil())
        return Error { Error::Kind::NotFound, "no path", ENOENT };
    UniqueFd fd = openWithoutBlocking(path);
    if (!fd)
        return systemError(errno);
    return adopt(std::move(fd));
}

Result<SharedSource> InputFile::openShared(const Path& path)
{
    MV_TRY(file, open(path));
    return SharedSource(std::make_shared<const InputFile>(std::move(file)));
}

Result<InputFile> InputFile::adopt(UniqueFd fd)
{
    struct stat facts { };
    if (statDescriptor(fd.get(), facts) != 0)
        return systemError(errno);
    if (!S_ISREG(facts.st_mode) || isOfKernel(fd.get(), facts.st_dev))
        return Error { Error::Kind::Unsupported, "not a regular file", S_ISDIR(facts.st_mode) ? EISDIR : EINVAL };
    return InputFile(std::move(fd), static_cast<std::uint64_t>(facts.st_size));
}

/// Whoever takes the end of such a file for its end makes half a song of it, and calls it whole. Others end before
/// their size because that is an estimate, of file systems that make their files as they are read.
bool InputFile::becameShorter() const
{
    struct stat facts { };
    return statDescriptor(m_fd.get(), facts) == 0 && static_cast<std::uint64_t>(facts.st_size) < m_size;
}

Result<std::size_t> InputFile::readAt(std::uint64_t offset, std::span<std::uint8_t> target) const
{
    std::size_t done = 0;
    while (done < target.size()) {
        ssize_t count
            = pread(m_fd.get(), target.data() + done, target.size() - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return systemError(errno);
        if (count == 0 && offset + done < m_size && becameShorter())
            return Error { Error::Kind::Io, "the file became shorter", EIO };
        if (count == 0)
            break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

// A copy of the descriptor would have its rights.
Result<UniqueFd> InputFile::openForReadingOnly() const
{
    std::string self = formatText("/proc/self/fd/%d", m_fd.get());
    // Somebody may hold a lease on it, which would take as long as the system lets them.
    UniqueFd fd(::open(self.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd)
        return systemError(errno, "opening for reading only");
    return fd;
}

Result<Bytes> readWholeFile(const Path& path, std::uint64_t limit)
{
    MV_TRY(file, InputFile::open(path));
    if (file.size() > limit)
        return Error { Error::Kind::Limit, "file too large" };
    return file.bytesAt(0, file.size());
}

} // namespace mv
