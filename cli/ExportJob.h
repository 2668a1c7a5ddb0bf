#pragma once

#include "Base/Core/Path.h"
#include "arguments/Arguments.h"
#include "cli/JobNames.h"
#include "client/ExporterClient.h"

#include <functional>

namespace mv::cli {

/// One job of the exporter service, from the two names on the command line to the file in its place.
struct ExportJob {
    const char* command;
    const char* ending; ///< of the file that the service makes: ".m4a"
    /// What the service is asked to do, with the source and the file that it is to make.
    std::function<std::int32_t(ExporterClient&, MVMP4ExporterDelegate&, const Path& source, const Path& made)> call;
    /// What is done with the file that was made, before it gets its name; may be empty.
    std::function<Result<void>(const Path& source, const Path& made)> finish;
    /// True when the service must not know the source by its own name.
    bool hidesSource = false;

    /// Shows progress, and cancels the job at Ctrl-C.
    ExitStatus runPlaced(ServiceBus& bus, const PlacedJob& placed) const;
    /// The same for the two names of a command line.
    ExitStatus run(const Arguments& arguments) const;
};

} // namespace mv::cli
