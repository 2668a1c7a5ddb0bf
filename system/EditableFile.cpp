#include "system/EditableFile.h"

#include "system/SystemError.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace mv {

namespace {

OpenedFile openedWhole(const Path& path)
{
    OpenedFile file = OpenedFile::at(path);
    // Any other one is replaced and cannot be torn.
    bool mayBeTorn = file.exists() && file.attributes()->isRegularFile && file.attributes()->names > 1;
    return mayBeTorn && FileReplacement::restoreKilledRewrite(path) ? OpenedFile::at(path) : file;
}

class NamedFile final : public EditableFile {
public:
    explicit NamedFile(const Path& path)
        : EditableFile(openedWhole(path))
    {
    }

    Result<void> writable() const override
    {
        if (faccessat(AT_FDCWD, opened().path().c_str(), W_OK, AT_EACCESS) != 0)
            return systemError(errno);
        return {};
    }
    Result<FileReplacement::Outcome> replace(
        const FileReplacement::Plan& plan, const FileReplacement::Check& check) override
    {
        return FileReplacement::perform(release(), plan, check);
    }
};

} // namespace

std::unique_ptr<EditableFile> EditableFile::at(const Path& path) { return std::make_unique<NamedFile>(path); }

OpenedFile EditableFile::release()
{
    OpenedFile rest(m_opened.path(), m_opened.attributes(), Error { Error::Kind::State, "was replaced" });
    return std::exchange(m_opened, std::move(rest));
}

} // namespace mv
