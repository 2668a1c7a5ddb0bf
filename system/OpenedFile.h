#pragma once

#include "Base/Core/Path.h"
#include "system/FileAttributes.h"
#include "system/InputFile.h"

namespace mv {

/// A file that a call named, opened once where the call comes in: the text of its path, its content or the error that
/// opening met, and its attributes, taken once. Everything behind that place takes this in place of a path, so that
/// all of a description speaks of one file, whatever happens to its name meanwhile. A copy shares the content.
class OpenedFile {
public:
    /// Opens what is at the path; nil, and whatever cannot be opened, are values too. Never blocks.
    static OpenedFile at(const Path& path);

    /// A file that is open for reading. `path` is what messages say.
    static OpenedFile adopt(const Path& path, UniqueFd fd);

    /// Bytes as a file without a name, for a process that takes descriptors. `path` is what messages say.
    static OpenedFile ofBytes(const Path& path, ByteView bytes);

    /// No file: a nil path.
    OpenedFile()
        : OpenedFile(Path())
    {
    }
    /// The same for a file that has a path and nothing else.
    explicit OpenedFile(Path path);
    /// A file that somebody else has opened. `path` is what its columns say, and is never opened.
    OpenedFile(Path path, Result<FileAttributes> attributes, Result<SharedSource> content)
        : m_path(std::move(path))
        , m_attributes(std::move(attributes))
        , m_content(std::move(content))
    {
    }

    const Path& path() const { return m_path; }
    /// The bytes. An error where it cannot be read, and for whatever is no regular file.
    const Result<SharedSource>& content() const { return m_content; }
    /// The content as a file, for whoever needs its handle; null where it is none, or cannot be read.
    std::shared_ptr<const InputFile> contentAsFile() const;
    /// That file's descriptor, -1 without one. Stays open as long as the content is.
    int descriptor() const;
    /// Of whatever is there, a folder or a device too, readable or not. The error is Access where a folder on the way
    /// may not be searched, else NotFound; a dangling link leads to nothing.
    const Result<FileAttributes>& attributes() const { return m_attributes; }
    bool exists() const { return m_attributes.ok(); }
    /// True when it is there, and those attributes are its own: both are one file, by whatever names.
    bool isSameFileAs(const Result<FileAttributes>& other) const
    {
        return exists() && other && m_attributes->identity == other->identity;
    }

private:
    Path m_path;
    Result<FileAttributes> m_attributes;
    Result<SharedSource> m_content;
};

/// The attributes of whatever is at the path, unopened; errors as of OpenedFile::attributes.
Result<FileAttributes> attributesAt(const Path& path);

} // namespace mv
