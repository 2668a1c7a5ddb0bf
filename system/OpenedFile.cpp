#include "system/OpenedFile.h"

#include "system/DescriptorStat.h"
#include "system/SystemError.h"
#include "system/UserFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace mv {

namespace {

/// The nearest that there is: a file system may keep a time of any 64 bits.
Date dateOf(std::int64_t seconds, std::int64_t nanoseconds)
{
    constexpr std::int64_t Most = std::numeric_limits<std::int64_t>::max() / 1'000'000 - 1;
    return Date::fromTimespec(std::clamp(seconds, -Most, Most), nanoseconds);
}

Date dateOf(const struct statx_timestamp& time) { return dateOf(time.tv_sec, time.tv_nsec); }

FileAttributes attributesOf(const struct statx& facts)
{
    FileAttributes attributes;
    attributes.size = static_cast<std::int64_t>(facts.stx_size);
    attributes.modificationDate = dateOf(facts.stx_mtime);
    if (facts.stx_mask & STATX_BTIME)
        attributes.creationDate = dateOf(facts.stx_btime);
    attributes.isRegularFile = S_ISREG(facts.stx_mode);
    attributes.isDirectory = S_ISDIR(facts.stx_mode);
    attributes.identity = { makedev(facts.stx_dev_major, facts.stx_dev_minor), facts.stx_ino };
    attributes.names = facts.stx_nlink;
    return attributes;
}

Error notThere(int code)
{
    return { code == EACCES ? Error::Kind::Access : Error::Kind::NotFound, std::strerror(code), code };
}

Result<FileAttributes> statAt(int folder, const char* path, int flags)
{
    struct statx facts { };
    if (statx(folder, path, AT_STATX_SYNC_AS_STAT | flags, STATX_BASIC_STATS | STATX_BTIME, &facts) != 0)
        return notThere(errno);
    return attributesOf(facts);
}

/// Of what is open. A closed process is refused what could take a name, and does not learn when a file was made: the
/// time of its last change stands in, as whoever has asked that process knows better.
Result<FileAttributes> attributesOfOpen(int fd)
{
    auto attributes = statAt(fd, "", AT_EMPTY_PATH);
    if (attributes || attributes.error().code != EPERM)
        return attributes;
    struct stat facts { };
    if (statDescriptor(fd, facts) != 0)
        return notThere(errno);
    FileAttributes known;
    known.size = facts.st_size;
    known.modificationDate = dateOf(facts.st_mtim.tv_sec, facts.st_mtim.tv_nsec);
    known.creationDate = known.modificationDate;
    known.isRegularFile = S_ISREG(facts.st_mode);
    known.isDirectory = S_ISDIR(facts.st_mode);
    known.identity = { facts.st_dev, facts.st_ino };
    known.names = facts.st_nlink;
    return known;
}

Result<SharedSource> contentOf(UniqueFd fd, const Result<FileAttributes>& attributes)
{
    if (!attributes)
        return attributes.error();
    if (!attributes->isRegularFile || isOfKernel(fd.get(), attributes->identity.device))
        return Error { Error::Kind::Unsupported, "not a regular file", attributes->isDirectory ? EISDIR : EINVAL };
    auto size = static_cast<std::uint64_t>(attributes->size);
    return SharedSource(std::make_shared<const InputFile>(InputFile::adopt(std::move(fd), size)));
}

Result<void> writeWhole(int fd, ByteView bytes)
{
    while (!bytes.empty()) {
        ssize_t count = write(fd, bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
            return systemError(errno);
        bytes = bytes.subspan(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
    return {};
}

} // namespace

OpenedFile::OpenedFile(Path path)
    : OpenedFile(std::move(path), notThere(ENOENT), Error { Error::Kind::NotFound, "no file", ENOENT })
{
}

OpenedFile OpenedFile::at(const Path& path)
{
    if (path.isNil())
        return OpenedFile();
    UniqueFd fd = InputFile::openWithoutBlocking(path);
    if (!fd) {
        Error failure = systemError(errno);
        return { path, attributesAt(path), std::move(failure) };
    }
    return adopt(path, std::move(fd));
}

OpenedFile OpenedFile::adopt(const Path& path, UniqueFd fd)
{
    auto attributes = attributesOfOpen(fd.get());
    auto content = contentOf(std::move(fd), attributes);
    return { path, std::move(attributes), std::move(content) };
}

OpenedFile OpenedFile::ofBytes(const Path& path, ByteView bytes)
{
    UniqueFd fd(memfd_create("mivo", MFD_CLOEXEC));
    auto written = fd ? writeWhole(fd.get(), bytes) : systemError(errno);
    return written ? adopt(path, std::move(fd)) : OpenedFile(path, written.error(), written.error());
}

std::shared_ptr<const InputFile> OpenedFile::contentAsFile() const
{
    return m_content ? std::dynamic_pointer_cast<const InputFile>(*m_content) : nullptr;
}

int OpenedFile::descriptor() const
{
    auto file = contentAsFile();
    return file ? file->fd() : -1;
}

Result<FileAttributes> attributesAt(const Path& path)
{
    return path.isNil() ? notThere(ENOENT) : statAt(AT_FDCWD, path.c_str(), 0);
}

} // namespace mv
