#include "system/FileMetadata.h"

#include "Base/Core/Bytes.h"
#include "system/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace mv {

namespace {

constexpr const char* AccessAcl = "system.posix_acl_access";

// Linux bounds a list of names and a value at 64 KiB each.
constexpr std::size_t MaxAttributeBytes = 65536;

Result<std::vector<std::string>> attributeNames(int fd)
{
    std::string list(MaxAttributeBytes, '\0');
    ssize_t length = flistxattr(fd, list.data(), list.size());
    if (length < 0 && (errno == ENOTSUP || errno == ENOSYS))
        length = 0;
    if (length < 0)
        return systemError(errno, "listing extended attributes");
    std::vector<std::string> names;
    for (std::size_t at = 0; at < static_cast<std::size_t>(length); at += names.back().size() + 1)
        names.emplace_back(list.c_str() + at);
    return names;
}

bool isPromised(const std::string& name) { return name == AccessAcl || name.starts_with("user."); }

Result<void> copyAttribute(int from, int to, const std::string& name)
{
    Bytes value(MaxAttributeBytes);
    ssize_t length = fgetxattr(from, name.c_str(), value.data(), value.size());
    bool copied = length >= 0 && fsetxattr(to, name.c_str(), value.data(), static_cast<std::size_t>(length), 0) == 0;
    if (!copied && isPromised(name))
        return systemError(errno, "extended attribute " + name);
    return {};
}

} // namespace

Result<void> copyFileMetadata(int from, int to)
{
    struct stat facts { };
    if (fstat(from, &facts) != 0)
        return systemError(errno, "attributes");
    // A foreign owner cannot be kept without privilege; the group then often still can.
    if (fchown(to, facts.st_uid, facts.st_gid) != 0 && fchown(to, static_cast<uid_t>(-1), facts.st_gid) != 0)
        errno = 0;
    MV_TRY(names, attributeNames(from));
    for (const std::string& name : names)
        MV_TRY_VOID(copyAttribute(from, to, name));
    // The folder's default ACL was inherited by the new file; the old one had none.
    if (std::find(names.begin(), names.end(), AccessAcl) == names.end())
        fremovexattr(to, AccessAcl);
    // After the owner, whose change clears the set-id bits.
    if (fchmod(to, facts.st_mode & 07777) != 0)
        return systemError(errno, "mode");
    return {};
}

} // namespace mv
