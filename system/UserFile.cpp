#include "system/UserFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace mv {

namespace {

constexpr std::array<std::uint32_t, 12> KernelFileSystems { PROC_SUPER_MAGIC, SYSFS_MAGIC, DEBUGFS_MAGIC, TRACEFS_MAGIC,
    SECURITYFS_MAGIC, SELINUX_MAGIC, CGROUP_SUPER_MAGIC, CGROUP2_SUPER_MAGIC, BPF_FS_MAGIC, PSTOREFS_MAGIC,
    EFIVARFS_MAGIC, NSFS_MAGIC };

struct KernelLink {
    std::string path; ///< of no link before the last name
    bool isOwn = false; ///< of this process, or of a thread of it
};

/// The last of the links that a path leads to, where that is one of the kernel's.
std::optional<KernelLink> kernelLinkAt(std::filesystem::path path)
{
    constexpr int MaxLinks = 40; // as many as the system follows
    std::error_code failed;
    for (int i = 0; i < MaxLinks; ++i) {
        UniqueFd link(open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        struct stat facts { };
        if (!link || fstat(link.get(), &facts) != 0 || !S_ISLNK(facts.st_mode))
            return std::nullopt;
        auto folder = std::filesystem::canonical(path.has_parent_path() ? path.parent_path() : ".", failed);
        if (failed)
            return std::nullopt;
        path = folder / path.filename();
        if (isOfKernel(link.get(), facts.st_dev)) {
            // "/proc", then the process or the thread.
            auto owner
                = std::next(folder.begin(), std::min<std::ptrdiff_t>(2, std::distance(folder.begin(), folder.end())));
            bool isOwn = owner != folder.end() && std::filesystem::exists("/proc/self/task" / *owner, failed);
            return KernelLink { path.native(), isOwn };
        }
        path = folder / std::filesystem::read_symlink(path, failed);
        if (failed)
            return std::nullopt;
    }
    return std::nullopt;
}

/// What a link of the kernel's leads to: another process' open file, as a client may hand it over; of this process' own
/// what has a name, and so may be opened anyhow.
UniqueFd openThroughKernel(const Path& path, int flags, mode_t mode)
{
    auto link = kernelLinkAt(path.text());
    UniqueFd fd(link ? open(link->path.c_str(), flags, mode) : -1);
    struct stat facts { };
    if (!link || (fd && link->isOwn && (fstat(fd.get(), &facts) != 0 || facts.st_nlink == 0))) {
        errno = ELOOP;
        return {};
    }
    return fd;
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
        return openThroughKernel(path, flags, mode);
    return UniqueFd(static_cast<int>(fd));
}

bool leadsThroughKernel(const Path& path) { return kernelLinkAt(path.text()).has_value(); }

bool isOfKernel(int fd, dev_t device)
{
    // They lie on no device, and so have the number of none.
    if (major(device) != 0)
        return false;
    struct statfs facts { };
    return fstatfs(fd, &facts) == 0
        && std::ranges::find(KernelFileSystems, static_cast<std::uint32_t>(facts.f_type)) != KernelFileSystems.end();
}

} // namespace mv
