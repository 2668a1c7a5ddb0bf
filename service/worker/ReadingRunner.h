#pragma once

#include "service/job/ReadingJob.h"

namespace mv {

/// Does what the job asks with the service's own root object, on this thread. Exceptions become answers: those of the
/// platform's family keep name and reason.
ReadingAnswer runReadingJob(const ReadingJob& job);

} // namespace mv
