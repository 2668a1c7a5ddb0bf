#include "system/OutputPlace.h"

#include "system/SystemError.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace mv {

namespace {

class PlaceInFolder final : public OutputPlace {
public:
    explicit PlaceInFolder(const Path& path)
        : OutputPlace(path)
    {
    }

    Result<FileAttributes> attributes() const override { return attributesAt(path()); }
    bool canHoldFile() const override;
    Result<void> clear() override;
    Result<std::unique_ptr<OutputFile>> create() override { return OutputFile::create(path()); }
    std::unique_ptr<EditableFile> edit() override { return EditableFile::at(path()); }
};

bool PlaceInFolder::canHoldFile() const
{
    auto present = attributes();
    if (path().isNil() || (present && present->isDirectory))
        return false;
    std::string folder(path().directory());
    return faccessat(AT_FDCWD, folder.empty() ? "." : folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

Result<void> PlaceInFolder::clear()
{
    if (!path().isNil() && unlink(path().c_str()) != 0 && errno != ENOENT)
        return systemError(errno, "cannot remove");
    return {};
}

} // namespace

std::shared_ptr<OutputPlace> OutputPlace::at(const Path& path) { return std::make_shared<PlaceInFolder>(path); }

} // namespace mv
