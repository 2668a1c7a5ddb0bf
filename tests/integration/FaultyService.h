#pragma once

#include "tests/integration/RunningService.h"
#include "tests/support/FaultyPrograms.h"
#include "tests/support/Instrumented.h"

namespace mv::test {

/// The service with such workers, ready on a bus of its own.
class FaultyService : private FaultyPrograms, public RunningService {
protected:
    explicit FaultyService(std::string_view fault = {})
        : FaultyPrograms(fault)
        , RunningService(service())
    {
    }
    void SetUp() override
    {
        MV_NEEDS_CLOSED_PROCESSES();
        RunningService::SetUp();
    }
};

} // namespace mv::test
