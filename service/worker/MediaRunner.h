#pragma once

#include "service/job/MediaJob.h"

namespace mv {

/// Does the job on each of its files, on this thread. A file that fails says why; nothing is raised.
std::vector<MediaResult> runMediaJob(const MediaJob& job);

} // namespace mv
