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

void ServiceManager::tellStopping(const UnitPlaceholder* placeholder, std::chrono::seconds longest)
{
    if (!startedThisProcess())
        return;
    std::string message = "STOPPING=1";
    // In one message: after this line the process has nothing more to say.
    if (placeholder)
        message = "MAINPID=" + std::to_string(placeholder->processId()) + "\n" + message;
    if (longest.count() > 0)
        message += "\nEXTEND_TIMEOUT_USEC=" + std::to_string(std::chrono::microseconds(longest).count());
    sd_notify(0, message.c_str());
    sd_notify_barrier(0, BarrierMicroseconds);
}

} // namespace mv
