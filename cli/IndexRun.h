#pragma once

#include "cli/ExitStatus.h"
#include "cli/FileProgress.h"
#include "cli/collection/IndexMerge.h"
#include "cli/collection/IndexWriter.h"

#include <functional>

namespace mv::cli {

/// How many files, by what became of them.
struct IndexCounts {
    std::size_t added = 0;
    std::size_t changed = 0;
    std::size_t removed = 0;
    std::size_t unchanged = 0;
    std::size_t missed = 0; ///< came among those that the index has, and are left to an update
    std::size_t notMedia = 0; ///< of those that were read
    std::size_t failed = 0; ///< of those that were read; they have a line that says so

    IndexCounts& operator+=(const IndexCounts& other);
};

/// What an index is made of, and how.
struct IndexWish {
    std::string folder; ///< whole
    bool isUpdate = false;
    std::size_t jobs = 1;
};

struct IndexOutcome {
    IndexCounts counts;
    ExitStatus status = ExitStatus::Done;
    std::size_t damagedLine = 0; ///< from which on the index was none; 0 where it was one
};

/// Brings an index up to date with its folder. Each file that fails is told, and with an update each one that was
/// added, changed or removed. What stops all of it is told, too, and then the index goes on from here the next time; so
/// does one whose run is to stop.
IndexOutcome runIndex(const char* command, IndexFile& file, const IndexWish& wish, FileProgress& progress,
    const std::function<bool()>& shallStop);

} // namespace mv::cli
