#pragma once

#include "tests/support/Scratch.h"

#include <string>
#include <sys/types.h>

namespace mv::test {

/// A message bus of the test's own, set as the session bus of this process and its children while it lives.
class PrivateBus {
public:
    /// With dbus-daemon's settings for sessions, or with those of a file.
    explicit PrivateBus(const std::string& configuration = {});
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    const std::string& address() const { return m_address; }
    /// Ends the bus at once, as a crash would.
    void kill();

private:
    ScratchFolder m_folder; // for the socket, which a bus that is killed leaves
    pid_t m_process = -1;
    std::string m_address;
};

} // namespace mv::test
