#pragma once

#include "tests/support/Scratch.h"

#include <string>
#include <string_view>

namespace mv::test {

/// A copy of the build's programs with FaultyWorker in the place of the worker, gone at the end of the scope. What the
/// worker does with a job is said by the name of its file: "DEED-at-MOMENT", with a moment of job, plan, check, answer.
class FaultyPrograms {
public:
    /// `fault` keeps workers from closing themselves: "thread", "filter", "self-test", or says that they are of
    /// another "version"; empty for none.
    explicit FaultyPrograms(std::string_view fault = {});

    std::string service() const { return m_folder.file("bin/mivo-mediad"); }
    std::string worker() const { return m_folder.file("bin/mivo-worker"); }

private:
    ScratchFolder m_folder;
};

} // namespace mv::test
