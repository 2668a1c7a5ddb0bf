#include "system/UserFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <dirent.h>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <memory>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace mv {

namespace {

constexpr std::array<std::uint32_t, 12> KernelFileSystems { PROC_SUPER_MAGIC, SYSFS_MAGIC, DEBUGFS_MAGIC, TRACEFS_MAGIC,
    SECURITYFS_MAGIC, SELINUX_MAGIC, CGROUP_SUPER_MAGIC, CGROUP2_SUPER_MAGIC, BPF_FS_MAGIC, PSTOREFS_MAGIC,
    EFIVARFS_MAGIC, NSFS_MAGIC };

/// Whether this process had it open before, under whatever number.
bool isOpenHere(int fd)
{
    struct stat facts { };
    std::unique_ptr<DIR, CloseWith<closedir>> all(opendir("/proc/self/fd"));
    if (!all || fstat(fd, &facts) != 0)
        return true;
    while (const dirent* entry = readdir(all.get())) {
        struct stat other { };
        int number = std::atoi(entry->d_name);
        if (entry->d_name[0] != '.' && number != fd && number != dirfd(all.get()) && fstat(number, &other) == 0
            && other.st_dev == facts.st_dev && other.st_ino == facts.st_ino)
            return true;
    }
    return false;
}

/// What a link of the kernel's leads to: another process' open file, as a client may hand it over, and nothing of this
/// process.
UniqueFd openThroughProcess(const Path& path, int flags, mode_t mode)
{
    UniqueFd fd(open(path.c_str(), flags, mode));
    if (!fd || !isOpenHere(fd.get()))
        return fd;
    errno = ELOOP;
    return {};
}

} // namespace

UniqueFd openUserFile(const Path& path, int flags, mode_t mode)
{
    open_how how {};
    how.flags = static_cast<std::uint64_t>(flags);
    how.mode = mode;
    how.resolve = RESOLVE_NO_MAGICLINKS;
    long fd = syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how);
    // Linux before 5.6, or a container that does not know it.
    if (fd < 0 && (errno == ENOSYS || errno == EPERM))
        return UniqueFd(open(path.c_str(), flags, mode));
    if (fd < 0 && errno == ELOOP)
        return openThroughProcess(path, flags, mode);
    return UniqueFd(static_cast<int>(fd));
}

bool isOfKernel(int fd)
{
    struct statfs facts { };
    return fstatfs(fd, &facts) == 0
        && std::ranges::find(KernelFileSystems, static_cast<std::uint32_t>(facts.f_type)) != KernelFileSystems.end();
}

} // namespace mv
