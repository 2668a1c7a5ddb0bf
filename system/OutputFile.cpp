#include "system/OutputFile.h"

#include "Base/Core/Text.h"
#include "system/InputFile.h"
#include "system/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {

namespace {

constexpr mode_t NewFileMode = 0666; // less the process's mask
constexpr std::size_t MoveBlock = 1u << 20;

// What the path leads to, links followed; the path itself where nothing is there yet.
Path resolved(const Path& path)
{
    std::unique_ptr<char, CloseWith<std::free>> real(realpath(path.c_str(), nullptr));
    return real ? Path(std::string(real.get())) : path;
}

Result<void> refuseWhatIsNoFile(const Path& path)
{
    struct stat facts { };
    if (stat(path.c_str(), &facts) != 0)
        return errno == ENOENT ? Result<void> {} : systemError(errno, "cannot replace");
    if (!S_ISREG(facts.st_mode))
        return systemError(S_ISDIR(facts.st_mode) ? EISDIR : EPERM, "cannot replace");
    if (access(path.c_str(), W_OK) != 0)
        return systemError(errno, "cannot replace");
    return {};
}

// 32 unpredictable characters hardly repeat; O_EXCL and linkat refuse the name that does.
std::string hiddenNameFor(const std::string& name)
{
    std::uint64_t random[2] {};
    if (getrandom(random, sizeof random, 0) != sizeof random)
        random[0] = static_cast<std::uint64_t>(getpid());
    std::string_view front = truncatedUtf8(name, NAME_MAX - 48); // the whole must stay a name
    return formatText(".%.*s.mivo-%016llx%016llx", static_cast<int>(front.size()), front.data(),
        static_cast<unsigned long long>(random[0]), static_cast<unsigned long long>(random[1]));
}

/// The new content in its folder, nameless or hidden.
class HiddenFile final : public OutputFile {
public:
    static Result<std::unique_ptr<OutputFile>> create(const Path& target, bool replaces);
    ~HiddenFile() override;

    Result<void> commit() override;

private:
    HiddenFile(UniqueFd folder, UniqueFd content, std::string name, std::string hiddenName, bool replaces)
        : OutputFile(std::move(content))
        , m_folder(std::move(folder))
        , m_name(std::move(name))
        , m_hiddenName(std::move(hiddenName))
        , m_replaces(replaces)
    {
    }
    bool link(const std::string& name) const;
    Result<void> giveHiddenName();
    Result<void> takeFreeName();

    UniqueFd m_folder;
    std::string m_name; // in the folder
    std::string m_hiddenName; // empty while the file has none
    bool m_replaces; // what has the name
};

Result<std::unique_ptr<OutputFile>> HiddenFile::create(const Path& target, bool replaces)
{
    std::string name(target.lastPathComponent());
    std::string directory(target.directory());
    UniqueFd folder(open(directory.empty() ? "." : directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder)
        return systemError(errno, "cannot open the folder");
    // A nameless file gets its name through a folder that a sandbox may not have.
    UniqueFd content;
    if (access("/proc/self/fd", X_OK) == 0)
        content.reset(openat(folder.get(), ".", O_TMPFILE | O_RDWR | O_CLOEXEC, NewFileMode));
    std::string hiddenName;
    if (!content && (errno == EOPNOTSUPP || errno == EISDIR || errno == ENOENT)) {
        // No nameless files here.
        hiddenName = hiddenNameFor(name);
        content.reset(openat(folder.get(), hiddenName.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, NewFileMode));
    }
    if (!content)
        return systemError(errno, "cannot create a file");
    return std::unique_ptr<OutputFile>(
        new HiddenFile(std::move(folder), std::move(content), std::move(name), std::move(hiddenName), replaces));
}

HiddenFile::~HiddenFile()
{
    if (!m_hiddenName.empty())
        unlinkat(m_folder.get(), m_hiddenName.c_str(), 0);
}

bool HiddenFile::link(const std::string& name) const
{
    std::string self = formatText("/proc/self/fd/%d", fd());
    return linkat(AT_FDCWD, self.c_str(), m_folder.get(), name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

Result<void> HiddenFile::giveHiddenName()
{
    if (!m_hiddenName.empty())
        return {};
    std::string name = hiddenNameFor(m_name);
    if (!link(name))
        return systemError(errno, "cannot name the file");
    m_hiddenName = name;
    return {};
}

/// A link never takes the place of anything.
Result<void> HiddenFile::takeFreeName()
{
    bool isLinked = m_hiddenName.empty()
        ? link(m_name)
        : linkat(m_folder.get(), m_hiddenName.c_str(), m_folder.get(), m_name.c_str(), 0) == 0;
    if (isLinked)
        return {};
    // File systems without hard links have no nameless files either.
    bool hasNoLinks = errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS || errno == EMLINK;
    if (m_hiddenName.empty() || !hasNoLinks)
        return systemError(errno, "cannot name the file");
    if (renameat2(m_folder.get(), m_hiddenName.c_str(), m_folder.get(), m_name.c_str(), RENAME_NOREPLACE) != 0)
        return systemError(errno, "cannot name the file");
    m_hiddenName.clear();
    return {};
}

Result<void> HiddenFile::commit()
{
    if (!m_replaces)
        return takeFreeName();
    struct stat old { };
    bool replaces = fstatat(m_folder.get(), m_name.c_str(), &old, 0) == 0;
    if (replaces) {
        // An owner that may not be given away leaves the file ours.
        static_cast<void>(fchown(fd(), old.st_uid, old.st_gid) == 0);
        if (fchmod(fd(), old.st_mode & 07777) != 0)
            return systemError(errno, "cannot keep the mode");
    }
    // Nothing can take a name that is in use but what has one itself. Between its two names a kill would leave a file
    // that nobody removes, so a name that is free is taken at once.
    if (!replaces && m_hiddenName.empty() && link(m_name))
        return {};
    MV_TRY_VOID(giveHiddenName());
    if (renameat(m_folder.get(), m_hiddenName.c_str(), m_folder.get(), m_name.c_str()) != 0)
        return systemError(errno, "cannot name the file");
    m_hiddenName.clear();
    return {};
}

} // namespace

Result<std::unique_ptr<OutputFile>> OutputFile::create(const Path& path)
{
    if (path.isNil() || path.text().empty() || path.text().ends_with('/'))
        return systemError(ENOENT, "no file to write to");
    MV_TRY_VOID(refuseWhatIsNoFile(path));
    return HiddenFile::create(resolved(path), true);
}

Result<std::unique_ptr<OutputFile>> OutputFile::createNew(const Path& path)
{
    if (path.isNil() || path.text().empty() || path.text().ends_with('/'))
        return systemError(ENOENT, "no file to write to");
    return HiddenFile::create(path, false);
}

Result<void> OutputFile::writeAt(std::uint64_t offset, ByteView bytes)
{
    while (!bytes.empty()) {
        ssize_t count = pwrite(fd(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return systemError(errno, "cannot write");
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
    return {};
}

Result<std::size_t> OutputFile::readAt(std::uint64_t offset, std::span<std::uint8_t> target) const
{
    std::size_t done = 0;
    while (done < target.size()) {
        ssize_t count = pread(fd(), target.data() + done, target.size() - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return systemError(errno, "cannot read back");
        if (count == 0)
            break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

// From the end, so that nothing is overwritten before it was moved.
Result<void> OutputFile::moveUp(std::uint64_t length, std::uint64_t distance)
{
    Bytes block(static_cast<std::size_t>(std::min<std::uint64_t>(length, MoveBlock)));
    while (length > 0) {
        std::uint64_t size = std::min<std::uint64_t>(length, block.size());
        std::span<std::uint8_t> part = std::span(block).first(static_cast<std::size_t>(size));
        MV_TRY(got, readAt(length - size, part));
        if (got != part.size())
            return Error { Error::Kind::Io, "the file became shorter" };
        MV_TRY_VOID(writeAt(length - size + distance, part));
        length -= size;
    }
    return {};
}

Result<SharedSource> OutputFile::written() const
{
    MV_TRY(file, InputFile::adopt(UniqueFd(fcntl(fd(), F_DUPFD_CLOEXEC, 0))));
    return SharedSource(std::make_shared<const InputFile>(std::move(file)));
}

} // namespace mv
