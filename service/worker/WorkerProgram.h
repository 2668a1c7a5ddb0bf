#pragma once

#include "sandbox/SyscallFilter.h"
#include "service/worker/Worker.h"

#include <functional>

namespace mv {

using ServeJobs = std::function<Result<void>(Channel&)>;

/// All of a worker's program: loads what the kind of worker that its words name may need, closes the process, says so
/// over its socket and serves the jobs that come. What it returns is the exit status. Tests serve in their own way, or
/// are told by SIGSYS which system call the filter does not know.
int runWorkerProgram(
    int count, char** words, const ServeJobs& serve = serveJobs, UnknownCall unknown = UnknownCall::Refused);

} // namespace mv
