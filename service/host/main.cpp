#include "Base/Core/NSBundle.h"
#include "service/host/CrashReporterService.h"
#include "service/host/Services.h"
#include "service/host/SystemHost.h"

#include <chrono>
#include <cstdlib>
#include <malloc.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

// How long calls in progress may take to finish when the service is told to quit. Files are replaced whole or not
// at all, so a job that is cut off loses nothing but its own output.
constexpr std::chrono::seconds QuitGrace { 3 };

/// Large buffers go back to the system when they are freed. Left to itself the allocator raises its threshold to the
/// largest picture or frame seen, in each of the services' threads, and a busy day ends with a hundred idle megabytes.
void keepMemoryFlat()
{
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 20);
}

void leaveAfterGrace()
{
    std::thread([] {
        std::this_thread::sleep_for(QuitGrace);
        _exit(EXIT_SUCCESS);
    }).detach();
}

} // namespace

int main()
{
    using namespace mv;
    keepMemoryFlat();
    std::string executable(NSBundle::mainBundle().executablePath().lastPathComponent());
    CrashReporterService::addProcessPid(executable, getpid());

    int status = 0;
    {
        SystemHost host(NSApplication::sharedApplication());
        AppDelegate delegate(host, services());
        status = NSApplicationMain(delegate);
        leaveAfterGrace();
    }
#if !defined(__SANITIZE_ADDRESS__)
    // Detached encoding threads may still run; nothing static is torn down under them.
    _exit(status);
#endif
    return status;
}
