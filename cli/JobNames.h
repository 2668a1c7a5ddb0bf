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
/// another ending (".mp3"). Fails with a sentence where it asks for nothing that can be, and where an output is named
/// as if it were of another format ("song.m4a"); a name with no ending, or with one that is no format's, may be.
Result<std::vector<JobNames>> jobNames(const Arguments& arguments, const std::string& ending);

/// One file of the command line on its way.
struct PlacedJob {
    JobNames names;
    Path source;
    JobOutput place;
};

struct PlacedJobs {
    std::vector<PlacedJob> jobs;
    ExitStatus status = ExitStatus::Done; ///< of those that are not among them
};

/// Those that a command line asks for and whose places are free. Has complained of the others, but for what is to be
/// skipped, and of a command line that means nothing.
PlacedJobs placedJobs(const char* command, const Arguments& arguments, const std::string& ending);

} // namespace mv::cli
