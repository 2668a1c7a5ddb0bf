#pragma once

#include "bus/BusName.h"
#include "service/include/ServiceNames.h"
#include "tests/support/Eventually.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <array>
#include <string>
#include <sys/types.h>
#include <vector>

namespace mv::test {

/// The bus names of the nine services, in the order of publication.
inline const auto kServiceBusNames = [] {
    std::array<std::string, ServiceNames.size()> names;
    std::transform(ServiceNames.begin(), ServiceNames.end(), names.begin(), busNameForService);
    return names;
}();

/// The real service process, on the session bus of this process, with its log in a file. Killed at the end of the
/// scope if it still runs.
class ServiceProcess {
public:
    /// Runs `executable`, or the build's mivo-mediad. Does not wait for its names.
    explicit ServiceProcess(const std::string& executable = {});
    ~ServiceProcess();
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    pid_t pid() const { return m_process; }
    /// Waits until every name is there; false when it never is.
    bool waitUntilReady();
    /// Waits for the process to end; its exit status, or -1 when it never ends, or -2 when a signal ended it.
    int waitForEnd();
    bool running();

    /// What it has written to standard error so far.
    std::string log() const;
    /// Resident memory, KiB.
    long residentKiB() const;
    int threadCount() const;

private:
    ScratchFolder m_folder;
    pid_t m_process = -1;
    int m_status = -1;
};

} // namespace mv::test
