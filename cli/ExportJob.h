#pragma once

#include "Base/Core/Path.h"
#include "cli/Arguments.h"
#include "client/ExporterClient.h"

#include <functional>
#include <optional>

namespace mv::cli {

struct ExportPaths {
    Path source;
    Path destination;
};

/// The two files of the command line, checked; has complained when it gives nothing.
std::optional<ExportPaths> exportPaths(const char* command, const Arguments& arguments);

/// Runs one of the exporter's jobs with a progress display, and cancels it at Ctrl-C. True when it succeeded; has
/// complained when not.
using ExportCall = std::function<Result<std::int32_t>(ExporterClient&, ExportListener&)>;
bool runExport(const char* command, ServiceBus& bus, const ExportPaths& paths, const ExportCall& call);

} // namespace mv::cli
