#pragma once

#include "cli/ExitStatus.h"
#include "cli/FileNames.h"

namespace mv::cli {

/// Prints the classic record of each file, as the nine services have it: for people, or with --json as an object on a
/// line. Failures of files are told; the status is the worst of them.
ExitStatus describeRecords(const char* command, const Arguments& arguments, FileNames& names);

} // namespace mv::cli
