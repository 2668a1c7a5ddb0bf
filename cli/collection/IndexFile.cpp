#include "cli/collection/IndexFile.h"

#include "cli/collection/FolderWalk.h"
#include "cli/collection/IndexReader.h"
#include "cli/collection/IndexWriter.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv::cli {

namespace {

namespace fs = std::filesystem;

/// Another process may put a new index in the place while this one waits for the lock of the old one.
constexpr int Attempts = 8;
constexpr mode_t NewMode = 0666;
/// Of a first line without an end.
constexpr std::size_t MostLookedAt = 64 * 1024;

Error refused(const char* sentence) { return { Error::Kind::State, sentence }; }

/// The name that links lead to, also to nothing yet.
Result<std::string> realPath(const std::string& name)
{
    std::error_code failure;
    fs::path whole = fs::weakly_canonical(fs::absolute(name, failure), failure);
    for (int i = 0; i < Attempts && !failure && fs::is_symlink(fs::symlink_status(whole, failure)); ++i)
        whole = fs::weakly_canonical(whole.parent_path() / fs::read_symlink(whole, failure), failure);
    if (failure && failure != std::errc::no_such_file_or_directory)
        return indexFailure(failure.value());
    return whole.native();
}

bool isSameFile(const struct stat& one, const struct stat& other)
{
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

bool isStillAt(const std::string& path, int file)
{
    struct stat named { };
    struct stat held { };
    return stat(path.c_str(), &named) == 0 && fstat(file, &held) == 0 && isSameFile(named, held);
}

/// Nothing where the file was replaced before it could be locked.
Result<std::optional<UniqueFd>> openLocked(const std::string& path)
{
    // A FIFO that nobody writes to would be waited for.
    UniqueFd file(open(path.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK, NewMode));
    if (!file)
        return errno == EISDIR ? refused("is a folder") : indexFailure(errno);
    struct stat facts { };
    if (fstat(file.get(), &facts) != 0 || !S_ISREG(facts.st_mode))
        return refused("is no regular file, and an index is one");
    if (flock(file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        return refused("is being written by another \"mivo index\"");
    if (!isStillAt(path, file.get()))
        return std::optional<UniqueFd> {};
    return std::optional(std::move(file));
}

/// Nothing is dropped from, or added to, what was never an index.
Result<void> checkIsIndex(int file)
{
    IndexReader reader(file);
    if (reader.entry())
        return {};
    // A first line may have been cut. Names alone are shorter than what is looked at.
    std::string beginning(MostLookedAt, '\0');
    ssize_t got = pread(file, beginning.data(), beginning.size(), 0);
    beginning.resize(static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got < 0 || reader.damagedLine() > 0 || !mayBeginIndexLine(beginning))
        return refused("is there and is no index; it stays as it is");
    return {};
}

Result<void> appendRest(int from, std::string_view behind, int to)
{
    IndexReader reader(from);
    for (; reader.entry(); reader.next()) {
        if (!behind.empty() && !precedes(behind, reader.entry()->path))
            continue;
        if (int code = writeWhole(to, reader.line()); code != 0)
            return indexFailure(code);
    }
    return {};
}

/// Where what stands behind the last end of a line begins, in so much of the file's front.
Result<off_t> behindLastEnd(int file, off_t front)
{
    std::array<char, 4096> chunk;
    off_t end = front;
    while (end > 0) {
        off_t begin = std::max<off_t>(0, end - static_cast<off_t>(chunk.size()));
        ssize_t got = pread(file, chunk.data(), static_cast<std::size_t>(end - begin), begin);
        if (got != end - begin)
            return indexFailure(got < 0 ? errno : EIO);
        std::string_view text(chunk.data(), static_cast<std::size_t>(got));
        if (auto last = text.rfind('\n'); last != std::string_view::npos)
            return off_t { begin + static_cast<off_t>(last) + 1 };
        end = begin;
    }
    return off_t { 0 };
}

std::string lastPathIn(int file)
{
    std::string last;
    for (IndexReader reader(file); reader.entry(); reader.next())
        last = reader.entry()->path;
    return last;
}

} // namespace

Error indexFailure(int code)
{
    return { Error::Kind::Io, std::string("the index cannot be written: ") + std::strerror(code), code };
}

Result<void> dropCutLine(int file)
{
    struct stat facts { };
    if (fstat(file, &facts) != 0)
        return indexFailure(errno);
    MV_TRY(end, behindLastEnd(file, facts.st_size));
    if (end < facts.st_size && ftruncate(file, end) != 0)
        return indexFailure(errno);
    return {};
}

Result<IndexFile> IndexFile::open(const std::string& name)
{
    MV_TRY(path, realPath(name));
    for (int i = 0; i < Attempts; ++i) {
        MV_TRY(file, openLocked(path));
        if (!file)
            continue;
        MV_TRY_VOID(checkIsIndex(file->get()));
        MV_TRY_VOID(dropCutLine(file->get()));
        return IndexFile(std::move(path), std::move(*file));
    }
    return indexFailure(EBUSY);
}

std::uint64_t IndexFile::size() const
{
    struct stat facts { };
    return fstat(m_file.get(), &facts) == 0 ? static_cast<std::uint64_t>(facts.st_size) : 0;
}

std::optional<IndexEntry> IndexFile::lastEntry() const
{
    auto end = static_cast<off_t>(size());
    auto begin = behindLastEnd(m_file.get(), std::max<off_t>(end - 1, 0));
    if (end == 0 || !begin || static_cast<std::size_t>(end - *begin) > MostIndexLineBytes)
        return std::nullopt;
    std::string line(static_cast<std::size_t>(end - *begin), '\0');
    if (pread(m_file.get(), line.data(), line.size(), *begin) != static_cast<ssize_t>(line.size()))
        return std::nullopt;
    return readIndexLine(std::string_view(line).substr(0, line.size() - 1));
}

bool IndexFile::isAt(const std::string& path) const
{
    return fs::path(path).filename() == fs::path(m_path).filename() && isStillAt(path, m_file.get());
}

std::string IndexFile::beside(const char* what) const
{
    fs::path path(m_path);
    return (path.parent_path() / ("." + path.filename().native() + "." + what)).native();
}

Result<UniqueFd> IndexFile::takeUnfinished() const
{
    UniqueFd part(::open(partPath().c_str(), O_RDWR | O_APPEND | O_CLOEXEC | O_NOFOLLOW));
    UniqueFd before(::open(readPath().c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW));
    if (!part)
        return before;
    MV_TRY_VOID(dropCutLine(part.get()));
    // The later one has read less far, when it was killed early.
    if (before)
        MV_TRY_VOID(appendRest(before.get(), lastPathIn(part.get()), part.get()));
    if (rename(partPath().c_str(), readPath().c_str()) != 0)
        return indexFailure(errno);
    return part;
}

Result<void> IndexFile::replaceByPart() const
{
    if (rename(partPath().c_str(), m_path.c_str()) != 0)
        return indexFailure(errno);
    UniqueFd folder(::open(fs::path(m_path).parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder)
        fsync(folder.get());
    unlink(readPath().c_str());
    return {};
}

} // namespace mv::cli
