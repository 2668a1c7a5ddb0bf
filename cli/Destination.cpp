#include "cli/Destination.h"

#include "Base/Core/Handle.h"
#include "Base/Core/Text.h"
#include "arguments/Arguments.h"
#include "cli/InputPath.h"
#include "cli/Output.h"
#include "system/InputFile.h"
#include "system/OutputFile.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace mv::cli {

namespace {

constexpr int MaxLinks = 40; // as many as the system follows
constexpr std::size_t CopyBlock = 1u << 20;

Error unwritable(int code)
{
    return { Error::Kind::Io, std::string("cannot be written: ") + std::strerror(code), code };
}

Error refused(const char* text) { return { Error::Kind::Unsupported, text }; }

/// The descriptor that a name stands for because it is one of ours; -1 for any other name.
int openStreamNamed(const std::string& name)
{
    if (name == "-" || name == "/dev/stdout")
        return STDOUT_FILENO;
    if (name == "/dev/stderr")
        return STDERR_FILENO;
    for (std::string_view folder : { "/dev/fd/", "/proc/self/fd/" }) {
        if (!name.starts_with(folder))
            continue;
        int fd = -1;
        const char* end = name.data() + name.size();
        auto [stopped, failure] = std::from_chars(name.data() + folder.size(), end, fd);
        if (failure == std::errc() && stopped == end && fcntl(fd, F_GETFD) >= 0)
            return fd;
    }
    return -1;
}

/// What a path leads to, links followed even where the last one leads to nothing yet.
Result<Path> withoutLinks(std::filesystem::path path)
{
    std::error_code failure;
    for (int i = 0; i < MaxLinks; ++i) {
        auto folder = std::filesystem::canonical(path.parent_path(), failure);
        if (failure)
            return Error { Error::Kind::NotFound, "there is no folder " + path.parent_path().native() };
        path = folder / path.filename();
        auto next = std::filesystem::read_symlink(path, failure);
        if (failure)
            return Path(path.native());
        path = folder / next;
    }
    return unwritable(ELOOP);
}

Result<void> copyTo(int fd, const InputFile& from)
{
    Bytes block(CopyBlock);
    for (std::uint64_t offset = 0; offset < from.size();) {
        MV_TRY(got, from.readAt(offset, block));
        if (got == 0)
            return Error { Error::Kind::Io, "the finished file became shorter" };
        if (int code = writeAll(fd, charsOf(ByteView(block).first(got))); code != 0)
            return unwritable(code);
        offset += got;
    }
    return {};
}

/// Gives a new file the mode and, where that is permitted, the owner of the one that it replaces.
void takeAfter(const Path& old, const Path& made)
{
    struct stat facts { };
    if (stat(old.c_str(), &facts) != 0)
        return;
    static_cast<void>(chown(made.c_str(), facts.st_uid, facts.st_gid) == 0);
    chmod(made.c_str(), facts.st_mode & 07777);
}

} // namespace

Result<Overwriting> overwritingFrom(const Arguments& arguments)
{
    if (arguments.has("force") && arguments.has("no-clobber"))
        return Error { Error::Kind::Format, "--force and --no-clobber contradict each other" };
    if (arguments.has("force"))
        return Overwriting::Replace;
    return arguments.has("no-clobber") ? Overwriting::Skip : Overwriting::Refuse;
}

Result<Destination> Destination::find(const std::string& argument)
{
    if (int fd = openStreamNamed(argument); fd >= 0)
        return Destination(argument, false, fd);
    MV_TRY(named, outputPath(argument));
    if (argument.ends_with('/'))
        return refused("is no name of a file");
    MV_TRY(path, withoutLinks(named.text()));
    struct stat facts { };
    if (stat(path.c_str(), &facts) != 0) {
        if (errno == ENOENT)
            return Destination(path, true, -1);
        return unwritable(errno);
    }
    switch (facts.st_mode & S_IFMT) {
    case S_IFREG:
        return Destination(path, true, -1);
    case S_IFCHR:
    case S_IFIFO:
        return Destination(path, false, -1);
    case S_IFBLK:
        return refused("is a disk, and what is on it would be lost");
    default:
        return refused("is neither a file nor a stream that can be written to");
    }
}

bool Destination::exists() const { return m_isFile && access(m_path.c_str(), F_OK) == 0; }

Result<void> Destination::write(ByteView content) const
{
    if (!m_isFile) {
        return writeStream([&](int fd) {
            int code = writeAll(fd, charsOf(content));
            return code == 0 ? Result<void>() : unwritable(code);
        });
    }
    auto written = [&]() -> Result<void> {
        MV_TRY(file, OutputFile::create(m_path));
        MV_TRY_VOID(file->writeAt(0, content));
        return file->commit();
    }();
    if (!written && written.error().code != 0)
        return unwritable(written.error().code);
    return written;
}

Result<void> Destination::take(const Path& made, bool mayReplace) const
{
    if (!m_isFile) {
        MV_TRY(content, InputFile::open(made));
        MV_TRY_VOID(writeStream([&](int fd) { return copyTo(fd, content); }));
        unlink(made.c_str());
        return {};
    }
    if (exists() && access(m_path.c_str(), W_OK) != 0)
        return unwritable(errno);
    takeAfter(m_path, made);
    if (renameat2(AT_FDCWD, made.c_str(), AT_FDCWD, m_path.c_str(), mayReplace ? 0 : RENAME_NOREPLACE) == 0)
        return {};
    // Some file systems cannot look and rename in one step.
    if (errno == EINVAL && !exists() && rename(made.c_str(), m_path.c_str()) == 0)
        return {};
    return unwritable(errno);
}

Result<void> Destination::writeStream(const std::function<Result<void>(int fd)>& write) const
{
    if (m_openStream >= 0)
        return write(m_openStream);
    UniqueFd stream(open(m_path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
    if (!stream)
        return unwritable(errno);
    // Between finding and opening, something else may have come to be there.
    struct stat facts { };
    if (fstat(stream.get(), &facts) != 0 || !(S_ISCHR(facts.st_mode) || S_ISFIFO(facts.st_mode)))
        return refused("is no longer a device or a pipe");
    return write(stream.get());
}

} // namespace mv::cli
