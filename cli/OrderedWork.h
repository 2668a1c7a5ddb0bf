#pragma once

#include "cli/ExitStatus.h"
#include "cli/OrderedPipe.h"

#include <string>

namespace mv::cli {

/// What became of an item.
struct WorkResult {
    std::string output; ///< for standard output
    std::string complaint; ///< for standard error; empty when there is nothing to complain of
    ExitStatus status = ExitStatus::Done;
};

/// Work on items that are told apart by their names, each with its own output, complaint and status.
struct OrderedWork : OrderedPipe<std::string, WorkResult> {
    /// Returns when every result was emitted; the worst of their statuses.
    ExitStatus run() const
    {
        ExitStatus status = ExitStatus::Done;
        OrderedPipe watched = *this;
        watched.emit = [&](std::size_t index, const WorkResult& result) {
            emit(index, result);
            status = worse(status, result.status);
        };
        watched.run();
        return status;
    }
};

} // namespace mv::cli
