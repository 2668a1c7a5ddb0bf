#pragma once

#include "cli/CoreShares.h"
#include "cli/JobNames.h"
#include "client/MediaRequests.h"
#include "client/ServiceBus.h"

#include <string>
#include <vector>

namespace mv::cli {

/// The files of a command line, encoded by jobs of Mivo.Media1, each from its source to the file in its place.
struct FileEncoding {
    const char* command;
    MediaEncoding encoding; ///< with its format
    bool carriesTags = true;
    std::string fullDisk; ///< the sentence for a disk without room

    struct End {
        ExitStatus status = ExitStatus::Done; ///< of all but the refused ones
        std::vector<std::size_t> refused; ///< their numbers
    };

    /// Shows progress, and cancels what is under way at Ctrl-C. `handsBack`: of files that are none of those that
    /// Mivo.Media1 encodes nothing is told.
    End run(ServiceBus& bus, const std::vector<PlacedJob>& jobs, CoreShares shares, bool handsBack) const;
};

} // namespace mv::cli
