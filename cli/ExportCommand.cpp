#include "cli/Command.h"
#include "cli/ExportJob.h"
#include "cli/ServiceAccess.h"

namespace mv::cli {

namespace {

constexpr const char* Name = "export";

int run(const Arguments& arguments)
{
    auto paths = exportPaths(Name, arguments);
    if (!paths)
        return 1;
    auto service = openService(Name, arguments);
    if (!service)
        return 1;
    return runExport(Name, *service->bus, *paths,
               [&](ExporterClient& exporter, ExportListener& listener) {
                   return exporter.exportToMp4(paths->source, paths->destination, &listener);
               })
        ? 0
        : 1;
}

} // namespace

const Command exportCommand {
    .name = Name,
    .synopsis = "FILE OUT.mp4",
    .summary = "Put a movie's streams into an MPEG-4 file, without encoding them anew",
    .details = "Ctrl-C cancels.",
    .options = {},
    .minimumFiles = 2,
    .maximumFiles = 2,
    .run = run,
};

} // namespace mv::cli
