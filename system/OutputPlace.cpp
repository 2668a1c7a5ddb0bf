#include "system/OutputPlace.h"

#include "system/SystemError.h"
#include "system/UserFile.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace mv {

namespace {

bool isFile(int fd, const OpenedFile& input)
{
    struct stat facts { };
    return input.exists() && fstat(fd, &facts) == 0
        && input.attributes()->identity == FileIdentity { facts.st_dev, facts.st_ino };
}

/// What a link in somebody's folder may lead to that takes bytes without harm: no disks, terminals and input devices.
bool mayBeWritten(int fd, const struct stat& facts)
{
    constexpr unsigned MemoryDevices = 1; // null, full and their like
    if (S_ISCHR(facts.st_mode))
        return major(facts.st_rdev) == MemoryDevices;
    return S_ISREG(facts.st_mode) ? !isOfKernel(fd, facts.st_dev) : S_ISFIFO(facts.st_mode);
}

bool makeEmpty(int fd)
{
    struct stat facts { };
    return fstat(fd, &facts) == 0 && mayBeWritten(fd, facts) && (!S_ISREG(facts.st_mode) || ftruncate(fd, 0) == 0);
}

/// Somebody's folder, pipe, socket or device, or a link of /dev to what a process has open. Where root runs the
/// service, /dev would lose it.
bool leadsToNoFile(const Path& path)
{
    struct stat facts { };
    return stat(path.c_str(), &facts) == 0 && (!S_ISREG(facts.st_mode) || leadsThroughKernel(path));
}

class PlaceInFolder : public OutputPlace {
public:
    explicit PlaceInFolder(const Path& path)
        : OutputPlace(path)
    {
    }

    Result<FileAttributes> attributes() const override { return attributesAt(path()); }
    bool canHoldFile() const override;
    Result<void> clear() override;
    Result<std::unique_ptr<OutputFile>> create() override { return OutputFile::create(path()); }
    UniqueFd openDescriptorInPlace(const OpenedFile& input) override;
    std::unique_ptr<EditableFile> edit() override { return EditableFile::at(path()); }
};

class FreeName final : public PlaceInFolder {
public:
    using PlaceInFolder::PlaceInFolder;
    Result<std::unique_ptr<OutputFile>> create() override { return OutputFile::createNew(path()); }
};

bool PlaceInFolder::canHoldFile() const
{
    if (path().isNil() || leadsToNoFile(path()))
        return false;
    std::string folder(path().directory());
    return faccessat(AT_FDCWD, folder.empty() ? "." : folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

Result<void> PlaceInFolder::clear()
{
    if (path().isNil())
        return {};
    if (leadsToNoFile(path()))
        return systemError(EPERM, "cannot remove what is no file");
    if (unlink(path().c_str()) != 0 && errno != ENOENT)
        return systemError(errno, "cannot remove");
    return {};
}

UniqueFd PlaceInFolder::openDescriptorInPlace(const OpenedFile& input)
{
    // Emptied only after the check: opening with O_TRUNC would destroy an input that is named twice.
    constexpr mode_t Permissions = 0666;
    UniqueFd fd = openUserFile(path(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, Permissions);
    if (!fd || isFile(fd.get(), input) || !makeEmpty(fd.get()))
        return {};
    return fd;
}

} // namespace

std::shared_ptr<OutputPlace> OutputPlace::at(const Path& path) { return std::make_shared<PlaceInFolder>(path); }

std::shared_ptr<OutputPlace> OutputPlace::atFreeName(const Path& path) { return std::make_shared<FreeName>(path); }

std::unique_ptr<FileInPlace> OutputPlace::openInPlace(const OpenedFile& input)
{
    UniqueFd fd = openDescriptorInPlace(input);
    return fd ? FileInPlace::of(std::move(fd)) : nullptr;
}

} // namespace mv
