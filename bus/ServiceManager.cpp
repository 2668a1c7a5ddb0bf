#include "bus/ServiceManager.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <systemd/sd-daemon.h>
#include <unistd.h>

namespace mv {

namespace {

// systemd answers in less than a millisecond, or it is in trouble.
constexpr std::uint64_t BarrierMicroseconds = 2'000'000;

} // namespace

bool ServiceManager::startedThisProcess()
{
    static const bool started = [] {
        const char* process = std::getenv("SYSTEMD_EXEC_PID");
        return std::getenv("NOTIFY_SOCKET") && (!process || process == std::to_string(getpid()));
    }();
    return started;
}

void ServiceManager::tellReady()
{
    if (startedThisProcess())
        sd_notify(0, "READY=1");
}

void ServiceManager::tellStopping(const UnitPlaceholder* placeholder)
{
    if (!startedThisProcess())
        return;
    // In one message: after the first line this process has nothing more to say.
    if (placeholder)
        sd_notifyf(0, "MAINPID=%d\nSTOPPING=1", static_cast<int>(placeholder->processId()));
    else
        sd_notify(0, "STOPPING=1");
    sd_notify_barrier(0, BarrierMicroseconds);
}

} // namespace mv
