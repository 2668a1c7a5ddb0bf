#pragma once

#include "cli/collection/FolderWalk.h"
#include "cli/collection/IndexReader.h"

#include <functional>

namespace mv::cli {

/// What is to be done about one file.
struct IndexStep {
    enum class Kind {
        Kept, ///< its line stays
        Known, ///< its line was read by a run that was killed
        Read, ///< is to be described
        Removed, ///< is gone
        Missed, ///< came since the first run, and behind it nothing is inserted
        Unreadable, ///< a folder; the lines of what was in it stay
    };

    Kind kind = Kind::Kept;
    std::string path = {};
    FileStamp stamp = {}; ///< taken before it is read
    /// Of what is kept or known, with its end, and empty as long as the whole front of the index is; of what is read
    /// and was there, the line that it had.
    std::string line = {};
    bool wasThere = false; ///< has a line in the index
    std::optional<Error> failure = {}; ///< of a folder
};

/// Goes through a folder and an index of it side by side, in their common order, and says what an update does.
class IndexMerge {
public:
    enum class Way {
        Add, ///< only what comes behind the last line is read, and nobody looks at the others
        Update, ///< what has another stamp is read, too
    };
    struct Sources {
        std::string folder; ///< whole
        IndexReader index;
        IndexReader read {}; ///< lines of runs that were killed
    };

    /// `leavesOut` is asked of files whether they are none of the collection's.
    IndexMerge(Sources sources, Way way, std::function<bool(const std::string& path)> leavesOut);

    /// Nothing at the end.
    std::optional<IndexStep> next();

    /// How much of the index's front stays as it is, in bytes; grows as long as nothing but kept lines came.
    std::uint64_t keptBytes() const { return m_keptBytes; }
    const IndexReader& index() const { return m_index; }

private:
    void takeFound();
    bool isBelowUnreadable(const std::string& path) const;
    IndexStep passIndex();
    IndexStep addBehind();
    IndexStep compare();
    IndexStep keep();
    IndexStep change(IndexStep step);
    IndexStep unreadable();

    const Way m_way;
    const std::function<bool(const std::string&)> m_leavesOut;
    FolderWalk m_walk;
    IndexReader m_index;
    IndexReader m_read;
    std::optional<FolderWalk::Found> m_found;
    std::string m_unreadable; ///< the last folder that could not be read, with a slash
    bool m_isFront = true;
    std::uint64_t m_keptBytes = 0;
};

} // namespace mv::cli
