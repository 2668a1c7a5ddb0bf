#pragma once

#include "system/EditableFile.h"
#include "system/FileInPlace.h"
#include "system/OutputFile.h"

#include <memory>

namespace mv {

/// A name under which a job may put its file, handed in by whoever may use names. Jobs say what is to happen there;
/// what they write into has no name. Safe on several threads at once.
class OutputPlace {
public:
    /// The place of that path. A nil one has no room for a file.
    static std::shared_ptr<OutputPlace> at(const Path& path);
    /// The same for a name that is free: what create() makes does not take the place of what is there by then.
    static std::shared_ptr<OutputPlace> atFreeName(const Path& path);

    virtual ~OutputPlace() = default;
    OutputPlace(const OutputPlace&) = delete;
    OutputPlace& operator=(const OutputPlace&) = delete;

    /// What messages say; never opened.
    const Path& path() const { return m_path; }

    /// Of whatever is there now; errors as of OpenedFile::attributes.
    virtual Result<FileAttributes> attributes() const = 0;
    /// True when that file is there now, by whatever name it was opened.
    bool holds(const OpenedFile& file) const { return file.isSameFileAs(attributes()); }

    /// Whether a file could be made there, as far as can be told without touching what is there: nothing is, or a file,
    /// and the folder around it may be written to.
    virtual bool canHoldFile() const = 0;
    /// Removes the file that is there, or the link; nothing there is well, too. A folder, pipe or device stays, and so
    /// does a link to one; that is an error.
    virtual Result<void> clear() = 0;
    /// A file that takes the place when it is committed; see OutputFile.
    virtual Result<std::unique_ptr<OutputFile>> create() = 0;
    /// Opens the file that is there to be written in place, empty; makes one where there is none. Null, and what is
    /// there stays as it is, where that cannot be done, or the file is `input` itself under whatever name. Does not
    /// wait for a reader of a FIFO.
    virtual std::unique_ptr<FileInPlace> openInPlace(const OpenedFile& input);
    /// The same for whoever hands it on: the descriptor, open for writing; none where openInPlace() is null.
    virtual UniqueFd openDescriptorInPlace(const OpenedFile& input) = 0;
    /// The file that is there now, to be changed.
    virtual std::unique_ptr<EditableFile> edit() = 0;

protected:
    explicit OutputPlace(Path path)
        : m_path(std::move(path))
    {
    }

private:
    Path m_path;
};

using SharedPlace = std::shared_ptr<OutputPlace>;

} // namespace mv
