#include "system/UserFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace mv {

namespace {

constexpr std::array<std::uint32_t, 12> KernelFileSystems { PROC_SUPER_MAGIC, SYSFS_MAGIC, DEBUGFS_MAGIC, TRACEFS_MAGIC,
    SECURITYFS_MAGIC, SELINUX_MAGIC, CGROUP_SUPER_MAGIC, CGROUP2_SUPER_MAGIC, BPF_FS_MAGIC, PSTOREFS_MAGIC,
    EFIVARFS_MAGIC, NSFS_MAGIC };

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
        fd = open(path.c_str(), flags, mode);
    return UniqueFd(static_cast<int>(fd));
}

bool isOfKernel(int fd)
{
    struct statfs facts { };
    return fstatfs(fd, &facts) == 0
        && std::ranges::find(KernelFileSystems, static_cast<std::uint32_t>(facts.f_type)) != KernelFileSystems.end();
}

} // namespace mv
