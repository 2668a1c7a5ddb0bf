#pragma once

#include "tests/support/PrivateBus.h"
#include "tests/support/Scratch.h"

#include <string>
#include <vector>

namespace mv::test {

/// A message bus of the test's own that starts the service when one of its names is called, by the files that are
/// installed for it. Whatever it has started ends with it.
class ActivatingBus {
public:
    /// The service's program is started with these arguments, or another in its place.
    explicit ActivatingBus(const std::string& arguments = {}, const std::string& program = {});
    ~ActivatingBus();

    /// How many processes have been started so far.
    int starts() const;
    /// What they have written to standard error.
    std::string log() const;

private:
    std::string prepare(const std::string& arguments, const std::string& program);
    std::vector<int> processes() const;

    ScratchFolder m_folder;
    PrivateBus m_bus;
};

} // namespace mv::test
