#pragma once

#include "arguments/Arguments.h"
#include "cli/NameList.h"
#include "cli/collection/FolderWalk.h"

namespace mv::cli {

inline constexpr Option FilesFromOption { "files-from", "LIST",
    "the files named in LIST too, one a line; - is standard input", 0, aFile(), true };
inline constexpr Option NullOption { "null", nullptr,
    "names in LIST end with a zero byte, as \"find -print0\" writes them" };
inline constexpr Option RecursiveOption { "recursive", nullptr,
    "of folders what is in them and below; links to folders are not followed", 'r' };

/// A file of a command line, of its lists, or of the folders that they name.
struct NamedFile {
    std::string name;
    bool wasFound = false; ///< in a folder, whoever asked named none of the files
    std::optional<Error> failure = {}; ///< why `name` is a folder that cannot be read
};

/// The files that a command is about, one after the other, as they come.
class FileNames {
public:
    /// Of the options above and the rest of the line. Fails where a list cannot be opened.
    static Result<FileNames> of(const Arguments& arguments);
    /// Why the options do not go together; null when they do.
    static const char* slipIn(const Arguments& arguments);

    std::optional<NamedFile> next();
    /// True when next() waits for nobody.
    bool isReady() { return m_walk || m_names.isReady(); }
    /// Why a list ended too early.
    const std::optional<Error>& failure() const { return m_names.failure(); }

private:
    FileNames(NameSource names, bool entersFolders)
        : m_names(std::move(names))
        , m_entersFolders(entersFolders)
    {
    }

    NameSource m_names;
    bool m_entersFolders;
    std::optional<FolderWalk> m_walk;
};

} // namespace mv::cli
