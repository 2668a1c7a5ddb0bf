#include "cli/Command.h"
#include "cli/ExportJob.h"
#include "cli/JobOptions.h"

namespace mv::cli {

namespace {

constexpr const char* Name = "export";

ExitStatus run(const Arguments& arguments)
{
    ExportJob job;
    job.command = Name;
    job.ending = ".mp4";
    job.call = [](ExporterClient& exporter, MVMP4ExporterDelegate& delegate, const Path& source, const Path& made) {
        return exporter.exportWithDelegateFromPathToMp4Path(&delegate, source, made);
    };
    return job.run(arguments);
}

constexpr std::array Options { ForceOption, NoClobberOption };

constexpr std::array Files { aFile(), aFile("mp4") };

} // namespace

const Command exportCommand {
    .name = Name,
    .synopsis = "[OPTION...] FILE OUT.mp4",
    .summary = "Put a movie's streams into an MPEG-4 file, without encoding them anew",
    .details = "Ctrl-C cancels and leaves nothing.",
    .options = Options,
    .files = Files,
    .minimumFiles = 2,
    .maximumFiles = 2,
    .run = run,
};

} // namespace mv::cli
