#pragma once

#include "service/job/ReadingJob.h"

#include <optional>

namespace mv {

/// Has a file read in a closed process, as the service has it: what is in other people's files never meets a decoder
/// in the user's own. Nothing where that process was lost over it, or the job raised something; the log says why. State
/// where no such process can be had. The first call of the program starts it.
Result<std::optional<ReadingAnswer>> askWorker(ReadingJob job);

} // namespace mv
