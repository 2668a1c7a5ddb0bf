#include "system/FileReplacement.h"

#include "Base/Core/NSLog.h"
#include "system/FileMetadata.h"
#include "system/HiddenNeighbours.h"
#include "system/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace mv {

namespace {

// A program that rewrites the file over and over must not keep us busy for ever.
constexpr int MaxAttempts = 5;
// Short, so that it hits the moment between two updates of a rival who makes many.
constexpr auto LockPoll = std::chrono::microseconds(500);
// Rivals who replace the file again and again, as our own updates do, get more patience than who holds one lock.
constexpr auto MaxTurnWait = std::chrono::seconds(20);

using Clock = std::chrono::steady_clock;
using Outcome = FileReplacement::Outcome;
/// Nothing means: the target changed meanwhile, start again.
using Attempt = Result<std::optional<Outcome>>;

const std::optional<Outcome> StartAgain;

bool sameTime(const timespec& a, const timespec& b) { return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec; }

bool sameFile(const struct stat& a, const struct stat& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

/// The change time catches what keeps size and modification time, and changes of mode and attributes.
bool unchanged(const struct stat& a, const struct stat& b)
{
    return sameFile(a, b) && a.st_size == b.st_size && a.st_nlink == b.st_nlink && sameTime(a.st_mtim, b.st_mtim)
        && sameTime(a.st_ctim, b.st_ctim);
}

Result<void> lock(int fd, Clock::time_point deadline)
{
    while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        // A file system without locks leaves only the check for changes.
        if (errno == ENOLCK || errno == EOPNOTSUPP || errno == ENOSYS || errno == EINVAL)
            return {};
        if (errno != EWOULDBLOCK && errno != EINTR)
            return systemError(errno, "lock");
        if (Clock::now() >= deadline)
            return Error { Error::Kind::State, "another program holds the file's lock", EWOULDBLOCK };
        std::this_thread::sleep_for(LockPoll);
    }
    return {};
}

using SharedFile = std::shared_ptr<const InputFile>;

/// Lets another thread close what may be the last handle of a replaced file: the file system then frees its blocks,
/// which takes longer than all the rest for a small file.
void closeReplaced(SharedFile file)
{
    try {
        std::thread([handle = std::move(file)] {}).detach();
    } catch (const std::system_error&) {
        // No thread to be had: it is closed by now.
    }
}

/// The handle of an opened file, for locking and reading; null where its content is none of a file.
Result<SharedFile> handleOf(const OpenedFile& file)
{
    if (!file.content())
        return file.content().error();
    return file.contentAsFile();
}

Result<SharedFile> newHandle(const Path& path)
{
    MV_TRY(file, InputFile::open(path));
    return std::make_shared<const InputFile>(std::move(file));
}

bool leadsTo(int folder, const std::string& name, const SharedFile& file)
{
    struct stat facts { };
    struct stat named { };
    return fstat(file->fd(), &facts) == 0 && fstatat(folder, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0
        && sameFile(facts, named);
}

/// The lock of a file, given back at the end: others may hold the handle longer.
class HeldLock {
public:
    static Result<HeldLock> of(SharedFile file, Clock::time_point deadline)
    {
        MV_TRY_VOID(lock(file->fd(), deadline));
        return HeldLock(std::move(file));
    }
    HeldLock(HeldLock&&) = default;
    HeldLock& operator=(HeldLock&&) = delete;
    ~HeldLock()
    {
        if (m_file)
            flock(m_file->fd(), LOCK_UN);
    }

private:
    explicit HeldLock(SharedFile file)
        : m_file(std::move(file))
    {
    }

    SharedFile m_file;
};

/// One locked target and one attempt to replace its content.
class LockedTarget {
public:
    /// `handle` is of the file, or of one that had its path before; then it becomes the file's. Nothing when the name
    /// leads to another file by the time the lock is held.
    static Result<std::optional<LockedTarget>> open(
        const Path& resolved, Result<SharedFile>& handle, Clock::time_point deadline);

    Attempt replace(const FileReplacement::Plan& plan, const FileReplacement::Check& check);
    Result<bool> restoreKilledRewrite();

private:
    LockedTarget(UniqueFd folder, std::string name, HeldLock held, InputFile file, struct stat facts)
        : m_folder(std::move(folder))
        , m_name(std::move(name))
        , m_lock(std::move(held))
        , m_file(std::move(file))
        , m_facts(facts)
        , m_neighbours(m_folder.get(), m_name)
    {
    }

    Attempt replaceByRename(const FileContent& content, const FileReplacement::Check& check);
    Attempt rewriteInPlace(const FileContent& content, const FileReplacement::Check& check);
    Result<void> makeAndCheck(int target, const FileContent& content, const FileReplacement::Check& check);
    Result<std::string> makeJournal();
    Result<void> restoreFrom(const std::string& journal, int target);
    Result<void> rewrite(
        const std::string& journal, int target, const FileContent& content, const FileReplacement::Check& check);
    bool isStill() const;
    Result<UniqueFd> openAgain(const std::string& name, int flags) const;

    UniqueFd m_folder;
    std::string m_name;
    HeldLock m_lock;
    InputFile m_file;
    struct stat m_facts;
    HiddenNeighbours m_neighbours;
};

Result<std::optional<LockedTarget>> LockedTarget::open(
    const Path& resolved, Result<SharedFile>& handle, Clock::time_point deadline)
{
    UniqueFd folder(::open(std::string(resolved.directory()).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder)
        return systemError(errno, "folder");
    std::string name(resolved.lastPathComponent());
    if (faccessat(folder.get(), name.c_str(), W_OK, AT_EACCESS) != 0)
        return systemError(errno, "not writable");
    // Nobody waits for the lock of a file that has lost its name.
    if (handle && (!*handle || !leadsTo(folder.get(), name, *handle)))
        handle = newHandle(resolved);
    MV_TRY(file, handle);
    MV_TRY(held, HeldLock::of(file, deadline));
    if (!leadsTo(folder.get(), name, file))
        return std::optional<LockedTarget> {};
    // The size that the handle knows may be of before the lock was ours.
    MV_TRY(locked, InputFile::adopt(UniqueFd(fcntl(file->fd(), F_DUPFD_CLOEXEC, 0))));
    struct stat facts { };
    if (fstat(locked.fd(), &facts) != 0)
        return systemError(errno, "attributes");
    return std::optional(LockedTarget(std::move(folder), std::move(name), std::move(held), std::move(locked), facts));
}

bool LockedTarget::isStill() const
{
    struct stat now { };
    return fstatat(m_folder.get(), m_name.c_str(), &now, AT_SYMLINK_NOFOLLOW) == 0 && unchanged(m_facts, now);
}

Result<UniqueFd> LockedTarget::openAgain(const std::string& name, int flags) const
{
    UniqueFd fd(openat(m_folder.get(), name.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!fd)
        return systemError(errno, "open");
    return fd;
}

Attempt LockedTarget::replace(const FileReplacement::Plan& plan, const FileReplacement::Check& check)
{
    m_neighbours.removeParts();
    MV_TRY(restored, restoreKilledRewrite());
    if (restored)
        return StartAgain;
    MV_TRY(content, plan(m_file));
    if (!content)
        return std::optional(Outcome::Unchanged);
    MV_TRY(same, holdsContent(m_file, *content));
    if (same)
        return std::optional(Outcome::Unchanged);
    return m_facts.st_nlink > 1 ? rewriteInPlace(*content, check) : replaceByRename(*content, check);
}

Result<void> LockedTarget::makeAndCheck(int target, const FileContent& content, const FileReplacement::Check& check)
{
    MV_TRY_VOID(writeContent(target, m_file, content));
    MV_TRY(made, InputFile::adopt(UniqueFd(fcntl(target, F_DUPFD_CLOEXEC, 0))));
    return check(made);
}

Attempt LockedTarget::replaceByRename(const FileContent& content, const FileReplacement::Check& check)
{
    MV_TRY(part, m_neighbours.makePart());
    ScopeGuard discardPart([&] { m_neighbours.discard(part); });
    MV_TRY_VOID(makeAndCheck(part.fd.get(), content, check));
    MV_TRY_VOID(copyFileMetadata(m_file.fd(), part.fd.get()));
    MV_TRY_VOID(syncToDisk(part.fd.get(), "sync"));
    // From here to the rename a kill leaves a file behind, and what somebody else writes into the target is lost:
    // nothing else is done in between.
    MV_TRY_VOID(m_neighbours.name(part));
    if (!isStill())
        return StartAgain;
    if (renameat(m_folder.get(), part.name.c_str(), m_folder.get(), m_name.c_str()) != 0)
        return systemError(errno, "rename");
    discardPart.dismiss();
    MV_TRY_VOID(syncToDisk(m_folder.get(), "sync of the folder"));
    return std::optional(Outcome::Replaced);
}

/// The complete content as it is, on disk under its own name before the target is touched.
Result<std::string> LockedTarget::makeJournal()
{
    MV_TRY(part, m_neighbours.makePart());
    ScopeGuard discardPart([&] { m_neighbours.discard(part); });
    MV_TRY_VOID(writeContent(part.fd.get(), m_file, { FileSegment::copy(0, m_file.size()) }));
    MV_TRY_VOID(syncToDisk(part.fd.get(), "sync of the journal"));
    MV_TRY(journal, m_neighbours.makeJournal(part, journalKey(m_facts, m_file.fd())));
    discardPart.dismiss();
    if (auto synced = syncToDisk(m_folder.get(), "sync of the folder"); !synced.ok()) {
        m_neighbours.remove(journal);
        return synced.error();
    }
    return journal;
}

Result<void> LockedTarget::restoreFrom(const std::string& journal, int target)
{
    MV_TRY(fd, openAgain(journal, O_RDONLY));
    MV_TRY(old, InputFile::adopt(std::move(fd)));
    MV_TRY_VOID(writeContent(target, old, { FileSegment::copy(0, old.size()) }));
    return syncToDisk(target, "sync");
}

/// True when a journal was found and its content is back.
Result<bool> LockedTarget::restoreKilledRewrite()
{
    std::vector<std::string> journals = m_neighbours.journals(journalKey(m_facts, m_file.fd()));
    if (journals.empty())
        return false;
    MV_TRY(target, openAgain(m_name, O_RDWR));
    MV_TRY_VOID(restoreFrom(journals.front(), target.get()));
    for (const std::string& journal : journals)
        m_neighbours.remove(journal);
    MV_TRY_VOID(syncToDisk(m_folder.get(), "sync of the folder"));
    return true;
}

/// Writes the new content over the old one; the journal is the source, since the target's own bytes are overwritten.
Result<void> LockedTarget::rewrite(
    const std::string& journal, int target, const FileContent& content, const FileReplacement::Check& check)
{
    MV_TRY(fd, openAgain(journal, O_RDONLY));
    MV_TRY(old, InputFile::adopt(std::move(fd)));
    // Room first: a full disk is then found before the first byte is lost. Not every file system can say.
    if (fallocate(target, FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(std::max<std::uint64_t>(1, lengthOf(content))))
            != 0
        && errno == ENOSPC)
        return systemError(errno, "room for growth");
    MV_TRY_VOID(writeContent(target, old, content));
    MV_TRY(made, InputFile::adopt(UniqueFd(fcntl(target, F_DUPFD_CLOEXEC, 0))));
    MV_TRY_VOID(check(made));
    return syncToDisk(target, "sync");
}

Attempt LockedTarget::rewriteInPlace(const FileContent& content, const FileReplacement::Check& check)
{
    MV_TRY(target, openAgain(m_name, O_RDWR));
    MV_TRY(journal, makeJournal());
    bool still = isStill();
    Result<void> rewritten = still ? rewrite(journal, target.get(), content, check) : Result<void> {};
    if (!rewritten.ok())
        // A journal that cannot be restored now stays for the next update.
        MV_TRY_VOID(restoreFrom(journal, target.get()));
    m_neighbours.remove(journal);
    MV_TRY_VOID(syncToDisk(m_folder.get(), "sync of the folder"));
    if (!rewritten.ok())
        return rewritten.error();
    return still ? std::optional(Outcome::Replaced) : StartAgain;
}

Result<Path> resolved(const Path& path)
{
    std::unique_ptr<char, CloseWith<free>> text(realpath(path.c_str(), nullptr));
    if (!text)
        return systemError(errno);
    return Path(text.get());
}

/// An update of ours that ends while we wait for its lock gives the name to another file: wait for that one's then.
Result<LockedTarget> lockedTarget(const Path& path, Result<SharedFile>& handle, Clock::time_point end)
{
    do {
        MV_TRY(file, resolved(path));
        MV_TRY(target, LockedTarget::open(file, handle, std::min(end, Clock::now() + FileReplacement::MaxLockWait)));
        if (target)
            return std::move(*target);
    } while (Clock::now() < end);
    return Error { Error::Kind::State, "another program keeps replacing the file" };
}

bool hasJournal(const Path& file)
{
    struct stat facts { };
    if (stat(file.c_str(), &facts) != 0 || facts.st_nlink < 2 || !S_ISREG(facts.st_mode))
        return false;
    UniqueFd folder(::open(std::string(file.directory()).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    UniqueFd fd(::open(file.c_str(), O_PATH | O_CLOEXEC));
    const HiddenNeighbours neighbours(folder.get(), std::string(file.lastPathComponent()));
    return folder && fd && !neighbours.journals(journalKey(facts, fd.get())).empty();
}

Result<bool> restoreWith(const Path& path)
{
    auto file = resolved(path);
    // Without the lock: most have none, and nobody waits for a lock in vain.
    if (!file || !hasJournal(*file))
        return false;
    Result<SharedFile> handle = newHandle(path);
    MV_TRY(target, lockedTarget(path, handle, Clock::now() + MaxTurnWait));
    return target.restoreKilledRewrite();
}

Result<Outcome> performAttempts(const Path& path, Result<SharedFile>& handle, const FileReplacement::Plan& plan,
    const FileReplacement::Check& check)
{
    Clock::time_point end = Clock::now() + MaxTurnWait;
    for (int attempt = 0; attempt < MaxAttempts; ++attempt) {
        MV_TRY(target, lockedTarget(path, handle, end));
        MV_TRY(outcome, target.replace(plan, check));
        if (outcome)
            return *outcome;
    }
    return Error { Error::Kind::State, "another program keeps changing the file" };
}

} // namespace

Result<Outcome> FileReplacement::perform(OpenedFile file, const Plan& plan, const Check& check)
{
    const Path path = file.path();
    Result<SharedFile> handle = handleOf(file);
    file = OpenedFile(path); // whose content the handle is now
    Result<Outcome> outcome = performAttempts(path, handle, plan, check);
    if (!outcome.ok() && outcome.error().kind != Error::Kind::Cancelled)
        NSLogAt(
            LogPriority::Warning, "Cannot replace the content of %s: %s", path.c_str(), outcome.error().text.c_str());
    else if (outcome.ok() && *outcome == Outcome::Replaced)
        closeReplaced(std::move(*handle));
    return outcome;
}

bool FileReplacement::restoreKilledRewrite(const Path& path)
{
    auto restored = restoreWith(path);
    if (!restored.ok())
        NSLogAt(LogPriority::Warning, "Cannot restore %s from what a killed update left: %s", path.c_str(),
            restored.error().text.c_str());
    return restored.ok() && *restored;
}

} // namespace mv
