#include "cli/FileMover.h"

#include "Base/Core/Handle.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv::cli {

namespace {

constexpr mode_t FolderMode = 0777; // without what the user's mask takes

Error failure(int code)
{
    switch (code) {
    case EEXIST:
        return { Error::Kind::State, "there is a file of its new name already", code };
    case EXDEV:
        return { Error::Kind::Unsupported, "its new name is on another file system, where a file cannot be renamed to",
            code };
    case ENAMETOOLONG:
        return { Error::Kind::Limit, "its new name is too long for the file system", code };
    default:
        return { Error::Kind::Io, std::string("cannot be renamed: ") + std::strerror(code), code };
    }
}

Error folderFailure(std::string_view name, int code)
{
    bool isNone = code == ELOOP || code == ENOTDIR;
    std::string reason = isNone ? "is a link or no folder" : std::strerror(code);
    return { Error::Kind::Io, "the folder \"" + std::string(name) + "\" " + (isNone ? "" : "cannot be used: ") + reason,
        code };
}

/// The way down to the folder of a new name, link by link refused.
class NewPlace {
public:
    explicit NewPlace(const PlannedMove& move)
        : m_move(move)
    {
    }
    /// Takes back what was made, unless the file lies there.
    ~NewPlace()
    {
        if (m_isUsed)
            return;
        for (auto one = m_made.rbegin(); one != m_made.rend(); ++one)
            unlinkat(one->parent, one->name.c_str(), AT_REMOVEDIR);
    }
    NewPlace(const NewPlace&) = delete;
    NewPlace& operator=(const NewPlace&) = delete;

    /// Unless it `makes` folders, the way ends where one is missing.
    Result<void> open(bool makes = true)
    {
        MV_TRY_VOID(enter(AT_FDCWD, m_move.folder, O_RDONLY));
        std::string_view rest = m_move.below;
        for (std::size_t slash = rest.find('/'); slash != std::string_view::npos; slash = rest.find('/')) {
            std::string name(rest.substr(0, slash));
            int parent = folder();
            if (makes && mkdirat(parent, name.c_str(), FolderMode) == 0)
                m_made.push_back({ parent, name });
            auto entered = enter(parent, name, O_NOFOLLOW);
            if (!entered && !makes && entered.error().code == ENOENT)
                return {};
            MV_TRY_VOID(std::move(entered));
            rest.remove_prefix(slash + 1);
        }
        m_name = rest;
        return {};
    }

    int folder() const { return m_folders.back().get(); }
    const char* name() const { return m_name.c_str(); }
    void use() { m_isUsed = true; }

private:
    struct Made {
        int parent;
        std::string name;
    };

    Result<void> enter(int parent, const std::string& name, int flags)
    {
        UniqueFd opened(openat(parent, name.c_str(), O_DIRECTORY | O_CLOEXEC | flags));
        if (!opened)
            return folderFailure(name, errno);
        m_folders.push_back(std::move(opened));
        return {};
    }

    const PlannedMove& m_move;
    std::vector<UniqueFd> m_folders;
    std::vector<Made> m_made;
    std::string m_name;
    bool m_isUsed = false;
};

bool doesNotKnowFlags(int code) { return code == EINVAL || code == ENOSYS || code == ENOTSUP; }

bool isTheFileItself(const std::string& from, int folder, const char* name)
{
    struct stat one { };
    struct stat other { };
    return lstat(from.c_str(), &one) == 0 && fstatat(folder, name, &other, AT_SYMLINK_NOFOLLOW) == 0
        && one.st_dev == other.st_dev && one.st_ino == other.st_ino && one.st_nlink == 1;
}

/// 0, or the errno.
int giveName(const std::string& from, const NewPlace& place)
{
    if (renameat2(AT_FDCWD, from.c_str(), place.folder(), place.name(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno == EEXIST && isTheFileItself(from, place.folder(), place.name()))
        return renameat(AT_FDCWD, from.c_str(), place.folder(), place.name()) == 0 ? 0 : errno;
    if (!doesNotKnowFlags(errno))
        return errno;
    // A second name is never put over another file; between the two lines the file has both.
    if (linkat(AT_FDCWD, from.c_str(), place.folder(), place.name(), 0) != 0)
        return errno;
    return unlink(from.c_str()) == 0 ? 0 : errno;
}

} // namespace

bool isInTheWay(const PlannedMove& move)
{
    struct stat one { };
    return lstat(move.to().c_str(), &one) == 0 && !isTheFileItself(move.from, AT_FDCWD, move.to().c_str());
}

Result<void> moveFile(const PlannedMove& move)
{
    NewPlace place(move);
    MV_TRY_VOID(place.open());
    if (int code = giveName(move.from, place); code != 0)
        return failure(code);
    place.use();
    return {};
}

Result<void> checkFolders(const PlannedMove& move) { return NewPlace(move).open(false); }

Result<void> moveInCircle(const std::vector<const PlannedMove*>& circle)
{
    // Whatever has the first one's old name belongs where the next one's new name says.
    for (std::size_t i = 0; i + 1 < circle.size(); ++i) {
        NewPlace place(*circle[i]);
        MV_TRY_VOID(place.open());
        if (renameat2(AT_FDCWD, circle[0]->from.c_str(), place.folder(), place.name(), RENAME_EXCHANGE) != 0)
            return failure(errno);
        place.use();
    }
    return {};
}

} // namespace mv::cli
