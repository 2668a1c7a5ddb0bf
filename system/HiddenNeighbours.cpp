#include "system/HiddenNeighbours.h"

#include "Base/Core/Text.h"
#include "system/SystemError.h"

#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/random.h>
#include <unistd.h>

namespace mv {

namespace {

/// FNV-1a, 64 bits: the target's name in a fixed length, since a name may be as long as names can be.
std::uint64_t nameHash(const std::string& name)
{
    std::uint64_t hash = 0xcbf29ce484222325u;
    for (unsigned char c : name)
        hash = (hash ^ c) * 0x100000001b3u;
    return hash;
}

Result<std::string> unpredictable()
{
    std::uint64_t value = 0;
    while (getrandom(&value, sizeof value, 0) != static_cast<ssize_t>(sizeof value)) {
        if (errno != EINTR)
            return systemError(errno, "random name");
    }
    return formatText("%016" PRIx64, value);
}

std::string journalPrefix(const std::string& key) { return ".mivo-journal-" + key + "-"; }

/// Leads to the file itself, also to one without a name.
std::string pathOf(const UniqueFd& fd) { return formatText("/proc/self/fd/%d", fd.get()); }

using Directory = std::unique_ptr<DIR, CloseWith<closedir>>;

} // namespace

std::string journalKey(const struct stat& facts, int fd)
{
    struct statx more { };
    bool born = statx(fd, "", AT_EMPTY_PATH, STATX_BTIME, &more) == 0 && (more.stx_mask & STATX_BTIME);
    std::int64_t seconds = born ? more.stx_btime.tv_sec : 0;
    std::uint32_t nanoseconds = born ? more.stx_btime.tv_nsec : 0;
    return formatText("%" PRIx64 "-%" PRIx64 "-%" PRIx32, static_cast<std::uint64_t>(facts.st_ino),
        static_cast<std::uint64_t>(seconds), nanoseconds);
}

HiddenNeighbours::HiddenNeighbours(int folder, const std::string& targetName)
    : m_folder(folder)
    , m_partPrefix(formatText(".mivo-part-%016" PRIx64 "-", nameHash(targetName)))
{
}

Result<PartFile> HiddenNeighbours::makePart() const
{
    auto nameless = makeNamelessPart();
    return nameless.ok() ? std::move(nameless) : makeNamedPart();
}

Result<PartFile> HiddenNeighbours::makeNamelessPart() const
{
    UniqueFd fd(openat(m_folder, ".", O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (!fd)
        return systemError(errno, "making a nameless file in the folder");
    // Without /proc it could not be given a name.
    if (access(pathOf(fd).c_str(), F_OK) != 0)
        return systemError(errno, "finding a nameless file");
    return PartFile { {}, std::move(fd) };
}

Result<PartFile> HiddenNeighbours::makeNamedPart() const
{
    MV_TRY(suffix, unpredictable());
    std::string name = m_partPrefix + suffix;
    UniqueFd fd(openat(m_folder, name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd)
        return systemError(errno, "making a file in the folder");
    return PartFile { std::move(name), std::move(fd) };
}

Result<void> HiddenNeighbours::giveName(PartFile& part, std::string name) const
{
    bool named = part.name.empty()
        ? linkat(AT_FDCWD, pathOf(part.fd).c_str(), m_folder, name.c_str(), AT_SYMLINK_FOLLOW) == 0
        : renameat(m_folder, part.name.c_str(), m_folder, name.c_str()) == 0;
    if (!named)
        return systemError(errno, "naming a file in the folder");
    part.name = std::move(name);
    return {};
}

Result<void> HiddenNeighbours::name(PartFile& part) const
{
    if (!part.name.empty())
        return {};
    MV_TRY(suffix, unpredictable());
    return giveName(part, m_partPrefix + suffix);
}

Result<std::string> HiddenNeighbours::makeJournal(PartFile& part, const std::string& key) const
{
    MV_TRY(suffix, unpredictable());
    MV_TRY_VOID(giveName(part, journalPrefix(key) + suffix));
    return part.name;
}

void HiddenNeighbours::remove(const std::string& name) const { unlinkat(m_folder, name.c_str(), 0); }

void HiddenNeighbours::discard(const PartFile& part) const
{
    if (!part.name.empty())
        remove(part.name);
}

std::vector<std::string> HiddenNeighbours::ours(const std::string& prefix) const
{
    std::vector<std::string> names;
    UniqueFd fd(openat(m_folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    Directory directory(fdopendir(fd.get()));
    if (directory)
        fd.release();
    while (dirent* entry = directory ? readdir(directory.get()) : nullptr) {
        struct stat facts { };
        if (std::string_view(entry->d_name).starts_with(prefix)
            && fstatat(m_folder, entry->d_name, &facts, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(facts.st_mode)
            && facts.st_uid == geteuid())
            names.emplace_back(entry->d_name);
    }
    return names;
}

void HiddenNeighbours::removeParts() const
{
    for (const std::string& name : ours(m_partPrefix))
        remove(name);
}

std::vector<std::string> HiddenNeighbours::journals(const std::string& key) const { return ours(journalPrefix(key)); }

} // namespace mv
