#include "cli/JobFolder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv::cli {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view Prefix = ".mivo-job-";
constexpr int Attempts = 8;

Error failure(int code) { return { Error::Kind::Io, std::string("cannot be written: ") + std::strerror(code), code }; }

UniqueFd openFolder(const std::string& path)
{
    return UniqueFd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

bool isStillAt(const std::string& path, int fd)
{
    struct stat named { };
    struct stat held { };
    return lstat(path.c_str(), &named) == 0 && fstat(fd, &held) == 0 && named.st_ino == held.st_ino
        && named.st_dev == held.st_dev;
}

bool isOurs(int fd)
{
    struct stat facts { };
    return fstat(fd, &facts) == 0 && facts.st_uid == geteuid();
}

/// Once more where it was given a file meanwhile, by the last job of whoever left it.
void removeWhole(const std::string& path)
{
    std::error_code failed;
    for (int i = 0; i < Attempts; ++i) {
        fs::remove_all(path, failed);
        if (!failed)
            return;
    }
}

/// Whoever made it would hold its lock.
void removeIfLeftBehind(const std::string& path)
{
    UniqueFd folder = openFolder(path);
    if (!folder || !isOurs(folder.get()) || flock(folder.get(), LOCK_EX | LOCK_NB) != 0)
        return;
    removeWhole(path);
}

void removeLeftBehind(const std::string& folder)
{
    std::error_code failed;
    for (fs::directory_iterator at(folder, failed); !failed && at != fs::directory_iterator(); at.increment(failed)) {
        if (at->path().filename().native().starts_with(Prefix))
            removeIfLeftBehind(at->path().native());
    }
}

} // namespace

Result<std::shared_ptr<JobFolder>> JobFolder::makeIn(const Path& folder)
{
    removeLeftBehind(folder.text());
    for (int i = 0; i < Attempts; ++i) {
        std::string path = folder.appending(std::string(Prefix) + "XXXXXX").text();
        if (!mkdtemp(path.data()))
            return failure(errno);
        UniqueFd lock = openFolder(path);
        // Between making and locking, another process may have taken it for one that was left behind. Where nothing
        // can be locked, nobody takes it.
        bool locked = lock && (flock(lock.get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK);
        if (locked && isStillAt(path, lock.get()))
            return std::shared_ptr<JobFolder>(new JobFolder(path, std::move(lock)));
    }
    return failure(EBUSY);
}

JobFolder::~JobFolder() { removeWhole(m_path.text()); }

Result<Path> JobFolder::linkTo(const Path& target) const
{
    Path link = file("source");
    if (symlink(target.c_str(), link.c_str()) != 0)
        return failure(errno);
    return link;
}

} // namespace mv::cli
