#pragma once

#include "service/isolated/JobTalk.h"
#include "service/isolated/WaitBudget.h"
#include "service/isolated/WritingBroker.h"

namespace mv {

/// Waits as long as a call that reads may take, however often the worker says something.
AwaitFrame within(WaitBudget& budget, JobTalk& talk);

/// Serves the job until its answer comes. Nothing where it needs another kind of worker, whose lines count then.
Result<std::optional<WritingAnswer>> serveToTheEnd(JobTalk& talk, WritingBroker& broker, const AwaitFrame& await);

} // namespace mv
