#pragma once

#include "Base/Core/NSBundle.h"
#include "tests/support/Places.h"

namespace mv::test {

/// Lets this program find the tool's worker, which lies beside the tool.
class WorkerOfTheTool {
public:
    WorkerOfTheTool() { NSBundle::setMainExecutablePathForTesting(buildPath("bin/mivo")); }
    ~WorkerOfTheTool() { NSBundle::setMainExecutablePathForTesting(Path()); }
    WorkerOfTheTool(const WorkerOfTheTool&) = delete;
    WorkerOfTheTool& operator=(const WorkerOfTheTool&) = delete;
};

} // namespace mv::test
