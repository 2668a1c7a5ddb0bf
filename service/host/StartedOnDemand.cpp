#include "service/host/StartedOnDemand.h"

#include "bus/ServiceManager.h"

#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>

namespace mv {

namespace {

/// A bus that starts a program leaves its address in the environment. So it does for all that the program starts, a
/// terminal's shell for instance: only the bus's own child counts.
bool busStartedUs()
{
    if (!std::getenv("DBUS_STARTER_ADDRESS"))
        return false;
    std::ifstream file("/proc/" + std::to_string(getppid()) + "/comm");
    std::string parent;
    return std::getline(file, parent) && parent.starts_with("dbus-");
}

} // namespace

bool wasStartedOnDemand() { return ServiceManager::startedThisProcess() || busStartedUs(); }

} // namespace mv
