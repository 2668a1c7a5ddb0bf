#pragma once

#include "tests/integration/RunningService.h"
#include "tests/support/Instrumented.h"
#include "tests/support/Scratch.h"

#include <string>

namespace mv::test {

/// A copy of the build's programs with FaultyWorker in the place of the worker, gone at the end of the scope. What the
/// worker does with a job is said by the name of its file: "DEED-at-MOMENT", with a moment of job, plan, check, answer.
class FaultyPrograms {
public:
    /// `fault` keeps workers from closing themselves: "thread", "filter", "self-test"; empty for none.
    explicit FaultyPrograms(std::string_view fault = {});

    std::string service() const { return m_folder.file("bin/mivo-mediad"); }

private:
    ScratchFolder m_folder;
};

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
