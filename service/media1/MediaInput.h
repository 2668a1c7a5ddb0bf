#pragma once

#include "Base/Core/Handle.h"
#include "service/include/MediaErrors.h"
#include "system/EditableFile.h"
#include "system/OpenedFile.h"

#include <memory>
#include <string>

namespace mv {

/// The file that a call means: one by an absolute path, or one that the client has opened.
class MediaInput {
public:
    static MediaInput at(std::string path) { return { std::move(path), UniqueFd(), true }; }
    /// `name` may be empty.
    static MediaInput handed(UniqueFd handle, std::string name)
    {
        return { std::move(name), std::move(handle), false };
    }

    /// Opens it, or takes the handle over: once. Never blocks. Raises a MediaError for whatever cannot be read.
    OpenedFile open();

    /// Opens a file by its path, to be changed; the same errors.
    std::unique_ptr<EditableFile> edit() const;

    bool hasPath() const { return m_hasPath; }
    const std::string& path() const { return m_text; }
    /// What sentences call it: the last element of its name.
    std::string shownName() const;

private:
    MediaInput(std::string text, UniqueFd handle, bool hasPath)
        : m_text(std::move(text))
        , m_handle(std::move(handle))
        , m_hasPath(hasPath)
    {
    }
    OpenedFile takeHandle();
    void check(const OpenedFile& file) const;

    std::string m_text; // the path, or the name
    UniqueFd m_handle;
    bool m_hasPath;
};

/// A sentence of the kind, about the file of that name.
std::string mediaSentence(MediaErrorKind kind, const std::string& shownName);
inline MediaError mediaError(MediaErrorKind kind, const std::string& shownName)
{
    return { kind, mediaSentence(kind, shownName) };
}

} // namespace mv
