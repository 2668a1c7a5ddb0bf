#include "cli/MirrorFolders.h"

#include "Base/Core/Text.h"
#include "cli/Output.h"
#include "cli/collection/FolderWalk.h"
#include "system/InputFile.h"
#include "system/OutputFile.h"

#include <algorithm>
#include <array>
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

constexpr const char* StateName = ".mivo-mirror";
constexpr std::uint64_t MaxStateBytes = 1u << 30;
constexpr std::int64_t NanosecondsPerSecond = 1'000'000'000;
// What file systems keep of times, in nanoseconds: of disks of other systems, of cards (two seconds, ten milliseconds),
// behind cables.
constexpr std::array<std::int64_t, 6> TimeSteps { 1, 100, 1000, 10'000'000, NanosecondsPerSecond,
    2 * NanosecondsPerSecond };
constexpr mode_t FolderMode = 0777; // without what the user's mask takes

Error failure(int code, const char* what = "cannot be written")
{
    return { Error::Kind::Io, std::string(what) + ": " + std::strerror(code), code };
}

std::int64_t timeOf(const struct stat& facts)
{
    return std::int64_t { facts.st_mtim.tv_sec } * NanosecondsPerSecond + facts.st_mtim.tv_nsec;
}

/// Cards keep the time of the clock on the wall, which moves against the world's with the season and with travel. Some
/// other file's time may look like that, so this is asked of files that are known to have been made here.
bool isKeptByClock(std::int64_t kept, std::int64_t told)
{
    constexpr std::int64_t CardStep = TimeSteps.back();
    constexpr std::int64_t ZoneStep = 15 * 60 * NanosecondsPerSecond;
    constexpr std::int64_t MostZones = 26 * 4; // of a quarter of an hour, from one end of the world to the other
    const std::int64_t zones = (kept - told + (kept < told ? -ZoneStep : ZoneStep) / 2) / ZoneStep;
    return kept % CardStep == 0 && std::abs(zones) <= MostZones && std::abs(kept - told - zones * ZoneStep) < CardStep;
}

/// Whether a file system that was told one time may have kept the other.
bool isKeptOf(std::int64_t kept, std::int64_t told)
{
    return std::any_of(TimeSteps.begin(), TimeSteps.end(),
        [&](std::int64_t step) { return kept % step == 0 && std::abs(kept - told) < step; });
}

Error leadsOut() { return { Error::Kind::State, "its folder is a link that leads out of the mirror" }; }

/// Nothing where there is none, or not even its first line.
Result<std::optional<MirrorState>> stateIn(const std::string& path, const std::string& source)
{
    struct stat facts { };
    if (lstat(path.c_str(), &facts) != 0)
        return std::optional<MirrorState> {};
    // Nothing here makes a link of it: whoever did wants another file written.
    if (!S_ISREG(facts.st_mode))
        return Error { Error::Kind::State, path + " is no regular file" };
    MV_TRY(content, readWholeFile(path, MaxStateBytes));
    if (MirrorState::isCutAtFront(charsOf(content)))
        return std::optional<MirrorState> {};
    auto state = MirrorState::parse(charsOf(content));
    if (!state)
        return Error { state.error().kind,
            path + " " + state.error().text
                + "; if it is damaged, remove it: copies whose sources are there are known again" };
    if (state->source() != source)
        return Error { Error::Kind::State,
            "is the mirror of " + state->source() + "; if that is what SOURCE is called now, remove " + path };
    return std::optional(std::move(*state));
}

} // namespace

std::vector<MirrorFile> mirroredFiles(
    const std::string& source, const std::string& without, const MirrorFailure& failed)
{
    std::vector<MirrorFile> files;
    FolderWalk walk(source);
    while (auto found = walk.next()) {
        struct stat facts { };
        if (isWithin(found->path, without))
            continue;
        if (found->failure)
            failed(found->path, found->failure->text);
        else if (!isMirrored(found->path) || stat(found->path.c_str(), &facts) != 0)
            continue;
        else if (!isValidUtf8(found->path))
            failed(found->path, "its name is not UTF-8");
        else
            files.push_back({ found->path.substr(source.size() + (source == "/" ? 0 : 1)),
                static_cast<std::uint64_t>(facts.st_size), timeOf(facts) });
    }
    return files;
}

std::optional<std::string> whyUnread(const std::string& path)
{
    struct stat facts { };
    bool isThere = lstat(path.c_str(), &facts) == 0;
    if (isThere ? !S_ISLNK(facts.st_mode) : errno == ENOENT || errno == ENOTDIR)
        return std::nullopt;
    return isThere ? "is a link to what cannot be read" : std::string("cannot be read: ") + std::strerror(errno);
}

Result<MirrorTarget> MirrorTarget::open(const std::string& folder, const std::string& source)
{
    if (mkdir(folder.c_str(), FolderMode) != 0 && errno != EEXIST)
        return failure(errno, "cannot be made");
    std::error_code failed;
    std::string whole = fs::canonical(folder, failed).native();
    UniqueFd lock(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (failed || !lock)
        return failure(errno, "is no folder that can be used");
    if (isWithin(source, whole))
        return Error { Error::Kind::State, whole == source ? "is the source itself" : "has the source in it" };
    // Where nothing can be locked, nobody else can either.
    if (flock(lock.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        return Error { Error::Kind::State, "another process makes a mirror there" };
    MV_TRY(state, stateIn(whole + "/" + StateName, source));
    return MirrorTarget(std::move(whole), std::move(lock), std::move(state), source);
}

std::string MirrorTarget::statePath() const { return pathOf(StateName); }

std::optional<std::uint64_t> MirrorTarget::sizeOf(const std::string& below) const
{
    struct stat facts { };
    if (lstat(pathOf(below).c_str(), &facts) != 0 || !S_ISREG(facts.st_mode))
        return std::nullopt;
    return static_cast<std::uint64_t>(facts.st_size);
}

bool MirrorTarget::isThere(const std::string& below) const
{
    struct stat facts { };
    return lstat(pathOf(below).c_str(), &facts) == 0;
}

bool MirrorTarget::isOfTime(const std::string& below, std::int64_t modified) const
{
    auto time = timeAt(below);
    return time && isKeptOf(*time, modified) && !leadsOutOf(below);
}

std::optional<std::int64_t> MirrorTarget::timeAt(const std::string& below) const
{
    struct stat facts { };
    if (lstat(pathOf(below).c_str(), &facts) != 0 || !S_ISREG(facts.st_mode))
        return std::nullopt;
    return timeOf(facts);
}

/// Whether a file is the one that was made, and nobody changed it since.
bool MirrorTarget::isAsMade(const MirrorEntry& entry) const
{
    const std::int64_t told = entry.madeModified.value_or(entry.modified);
    auto time = timeAt(entry.to);
    return sizeOf(entry.to) == entry.madeSize && time && (isKeptOf(*time, told) || isKeptByClock(*time, told));
}

bool MirrorTarget::leadsOutOf(const std::string& below) const
{
    std::error_code failed;
    fs::path folder = fs::weakly_canonical(fs::path(pathOf(below)).parent_path(), failed);
    return failed || !isWithin(folder.native(), m_folder);
}

Result<void> MirrorTarget::take(const std::string& made, MirrorEntry entry, bool replaces)
{
    std::string path = pathOf(entry.to);
    if (leadsOutOf(entry.to))
        return leadsOut();
    std::error_code failed;
    fs::create_directories(fs::path(path).parent_path(), failed);
    if (failed)
        return failure(failed.value(), "its folder cannot be made");
    // Before it has its name: who finds it there finds it whole, with its time.
    timespec times[] { { 0, UTIME_NOW },
        { entry.modified / NanosecondsPerSecond, static_cast<long>(entry.modified % NanosecondsPerSecond) } };
    utimensat(AT_FDCWD, made.c_str(), times, 0);
    struct stat facts { };
    if (stat(made.c_str(), &facts) != 0)
        return failure(errno);
    entry.madeSize = static_cast<std::uint64_t>(facts.st_size);
    if (!isKeptOf(timeOf(facts), entry.modified))
        entry.madeModified = timeOf(facts);
    bool isNamed = renameat2(AT_FDCWD, made.c_str(), AT_FDCWD, path.c_str(), replaces ? 0 : RENAME_NOREPLACE) == 0
        || (errno == EINVAL && (replaces || !isThere(entry.to)) && rename(made.c_str(), path.c_str()) == 0);
    if (!isNamed)
        return failure(errno);
    note(std::move(entry));
    return {};
}

void MirrorTarget::note(MirrorEntry entry)
{
    openState();
    // One that is lost costs a look at the file's time.
    if (m_lines)
        writeAll(m_lines.get(), MirrorState::line(entry));
    m_state.set(std::move(entry));
    m_isChanged = true;
}

void MirrorTarget::openState()
{
    if (m_lines)
        return;
    UniqueFd lines(::open(statePath().c_str(), O_RDWR | O_APPEND | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0666));
    struct stat facts { };
    if (!lines || fstat(lines.get(), &facts) != 0)
        return;
    char last = '\n';
    bool isCut = facts.st_size > 0 && pread(lines.get(), &last, 1, facts.st_size - 1) == 1 && last != '\n';
    if (m_hasState && isCut)
        writeAll(lines.get(), "\n");
    // Lines behind no first one would be no state.
    if (!m_hasState && !writeFirstLine(lines.get()))
        return;
    m_hasState = true;
    m_lines = std::move(lines);
}

bool MirrorTarget::writeFirstLine(int file) const
{
    if (ftruncate(file, 0) == 0 && writeAll(file, MirrorState(m_state.source()).text()) == 0)
        return true;
    static_cast<void>(ftruncate(file, 0));
    return false;
}

Result<bool> MirrorTarget::remove(const MirrorEntry& entry)
{
    if (leadsOutOf(entry.to))
        return leadsOut();
    const bool isFile = sizeOf(entry.to).has_value();
    if (isFile && !isAsMade(entry))
        return false;
    if (isFile && unlink(pathOf(entry.to).c_str()) != 0)
        return failure(errno, "cannot be removed");
    for (fs::path folder = fs::path(entry.to).parent_path(); !folder.empty(); folder = folder.parent_path()) {
        if (rmdir(pathOf(folder.native()).c_str()) != 0)
            break;
    }
    forget(entry);
    return true;
}

void MirrorTarget::forget(const MirrorEntry& entry)
{
    m_state.remove(entry.to);
    m_isChanged = true;
}

Result<void> MirrorTarget::close()
{
    if (!m_isChanged)
        return {};
    MV_TRY(file, OutputFile::create(statePath()));
    MV_TRY_VOID(file->writeAt(0, bytesOf(m_state.text())));
    return file->commit();
}

} // namespace mv::cli
