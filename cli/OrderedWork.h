#pragma once

#include "cli/ExitStatus.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace mv::cli {

/// What became of an item.
struct WorkResult {
    std::string output; ///< for standard output
    std::string complaint; ///< for standard error; empty when there is nothing to complain of
    ExitStatus status = ExitStatus::Done;
};

/// Runs work on items on several threads and hands the results out in the order of the items, one at a time, each as
/// soon as it and all before it are there. At most a few hundred items are ahead of the one that is waited for, so that
/// long lists take little memory.
struct OrderedWork {
    /// The next item; nothing at the end. Called by one thread at a time, and may wait for what is not there yet.
    std::function<std::optional<std::string>()> next;
    std::size_t workers = 1;
    using Work = std::function<WorkResult(std::size_t index, const std::string& item)>;
    /// Gives a thread its work; called on that thread, when its first item is there.
    std::function<Work()> makeWorker;
    std::function<void(std::size_t index, const WorkResult&)> emit;

    /// Returns when every result was emitted; the worst of their statuses.
    ExitStatus run() const;
};

} // namespace mv::cli
