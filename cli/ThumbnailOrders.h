#pragma once

#include "cli/FileNames.h"
#include "cli/ThumbnailPattern.h"

#include <deque>
#include <set>
#include <string>
#include <sys/types.h>
#include <unordered_map>
#include <utility>

namespace mv::cli {

/// A file and where its thumbnail goes.
struct ThumbnailOrder {
    NamedFile file;
    std::string output = {}; ///< whole
    std::string rival = {}; ///< another file whose thumbnail goes there; empty for none
    bool isInput = false; ///< what is there now is one of the files
};

/// Finds the places of thumbnails, and who would have the same. No file that is to get a thumbnail is replaced by one:
/// where not all of them are known yet, those whose place is taken come last.
class ThumbnailOrders {
public:
    /// Of the files of the command line, its lists and folders, which `names` gives.
    ThumbnailOrders(const Arguments& arguments, FileNames& names, const ThumbnailPattern& pattern);

    std::optional<ThumbnailOrder> next();

private:
    using FileId = std::pair<dev_t, ino_t>;

    static std::optional<FileId> idOf(const std::string& name);
    void addInput(const std::string& name);
    ThumbnailOrder orderFor(NamedFile file);
    bool isInput(const std::string& output) const;

    FileNames& m_names;
    const ThumbnailPattern& m_pattern;
    const bool m_knowsAll; ///< that will come, from the beginning
    std::set<FileId> m_inputs;
    std::unordered_map<std::string, std::string> m_taken; ///< outputs, and of what
    std::deque<ThumbnailOrder> m_last;
};

} // namespace mv::cli
