#include "platform/NSFileManager.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {

namespace {

Date dateOf(const struct statx_timestamp& time) { return Date::fromTimespec(time.tv_sec, time.tv_nsec); }

} // namespace

bool NSFileManager::fileExistsAtPath(const Path& path) { return !path.isNil() && access(path.c_str(), F_OK) == 0; }

Result<FileAttributes> NSFileManager::attributesOfItemAtPath(const Path& path)
{
    struct statx facts { };
    unsigned int wanted = STATX_BASIC_STATS | STATX_BTIME;
    if (path.isNil() || statx(AT_FDCWD, path.c_str(), AT_STATX_SYNC_AS_STAT, wanted, &facts) != 0) {
        int code = path.isNil() ? ENOENT : errno;
        return Error { code == EACCES ? Error::Kind::Access : Error::Kind::NotFound, std::strerror(code), code };
    }
    FileAttributes attributes;
    attributes.size = static_cast<std::int64_t>(facts.stx_size);
    attributes.modificationDate = dateOf(facts.stx_mtime);
    if (facts.stx_mask & STATX_BTIME)
        attributes.creationDate = dateOf(facts.stx_btime);
    attributes.isRegularFile = S_ISREG(facts.stx_mode);
    attributes.isDirectory = S_ISDIR(facts.stx_mode);
    return attributes;
}

} // namespace mv
