#pragma once

#include "Base/Core/Path.h"
#include "Base/Core/Result.h"
#include "arguments/Arguments.h"
#include "cli/ExitStatus.h"
#include "cli/JobOutput.h"

#include <string>
#include <vector>

namespace mv::cli {

/// What a job reads and makes, as the command line has it.
struct JobNames {
    std::string input;
    std::string output;
};

/// The pairs that a command line asks for: an input and an output, or with --to all files into a folder, each with
/// another ending (".mp3"). Fails with a sentence where it asks for nothing that can be.
Result<std::vector<JobNames>> jobNames(const Arguments& arguments, const std::string& ending);

/// One file of the command line on its way.
struct PlacedJob {
    JobNames names;
    Path source;
    JobOutput place;
};

/// Those whose places are free. Complains of the others, but for what is to be skipped, and makes the status worse.
std::vector<PlacedJob> placedJobs(
    const char* command, const std::vector<JobNames>& names, JobOutputs& outputs, ExitStatus& status);

} // namespace mv::cli
