#pragma once

#include "service/job/WritingJob.h"
#include "service/worker/HostLink.h"

namespace mv {

/// Does what the job asks with the service's own root object, on this thread, with the host's files and delegates.
/// Exceptions become answers: those of the platform's family keep name and reason.
WritingAnswer runWritingJob(const WritingJob& job, HostLink& host);

} // namespace mv
