#pragma once

#include "Base/Core/Handle.h"
#include "Base/Core/Result.h"
#include "cli/collection/IndexLine.h"

#include <optional>
#include <string>

namespace mv::cli {

/// A file that is an index, or is to become one, and that nobody else writes meanwhile. Beside it, with names that
/// begin with a dot, lie the next index in the making ("part") and what an update that was killed had read ("read").
class IndexFile {
public:
    /// Makes the file where there is none, and drops a last line that has no end, of a run that was killed. Links are
    /// followed. Fails with a sentence where another process works on it, and for what is no regular file or is no
    /// index, which stays as it is.
    static Result<IndexFile> open(const std::string& name);

    /// For reading, and for writing at the end.
    int descriptor() const { return m_file.get(); }
    const std::string& path() const { return m_path; }
    std::uint64_t size() const;
    /// Of the last line, found from the file's end; nothing where that is no line of an index.
    std::optional<IndexEntry> lastEntry() const;
    /// Whether that is the index itself, in whatever folder's name.
    bool isAt(const std::string& path) const;

    std::string partPath() const { return beside("part"); }
    std::string readPath() const { return beside("read"); }

    /// What updates that were killed have read: the lines of their parts, in one file. No descriptor where there is
    /// none.
    Result<UniqueFd> takeUnfinished() const;
    /// The part becomes the index, on the disk too.
    Result<void> replaceByPart() const;

private:
    IndexFile(std::string path, UniqueFd file)
        : m_path(std::move(path))
        , m_file(std::move(file))
    {
    }
    std::string beside(const char* what) const;

    std::string m_path; ///< whole, without links
    UniqueFd m_file; ///< locked
};

/// Drops what stands behind the last end of a line.
Result<void> dropCutLine(int file);

/// Why an index, or something beside it, cannot be written.
Error indexFailure(int code);

} // namespace mv::cli
