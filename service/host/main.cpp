#include "Base/Core/NSLog.h"
#include "bus/ServedObject.h"
#include "service/host/Announcement.h"
#include "service/host/CommandLine.h"
#include "service/host/Services.h"
#include "service/host/SystemHost.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <malloc.h>
#include <system_error>
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

void leaveAfterGrace(int status)
{
    std::thread([status] {
        std::this_thread::sleep_for(QuitGrace);
        _exit(status);
    }).detach();
}

} // namespace

int main(int count, char** words)
try {
    using namespace mv;
    // A log that nobody reads any more ends nothing.
    std::signal(SIGPIPE, SIG_IGN);
    if (auto status = answerCommandLine({ words + 1, words + std::max(count, 1) }))
        return *status;
    keepMemoryFlat();
    announceThisProcess();

    int status = 0;
    {
        WorkerHost workers(installedWorkerProgram(), callingClient);
        workers.pool().keepSpares();
        const std::vector<ServiceRow> rows = services(workers);
        SystemHost host(NSApplication::sharedApplication());
        AppDelegate delegate(host, rows);
        status = NSApplicationMain(delegate);
        if (!delegate.hasPublishedAll())
            status = ExitNotPublished;
        leaveAfterGrace(status);
    }
#if !defined(__SANITIZE_ADDRESS__)
    // Detached encoding threads may still run; nothing static is torn down under them.
    _exit(status);
#endif
    return status;
} catch (const std::system_error& problem) {
    // Each name is served by a thread of its own.
    mv::NSLog("a thread is needed and not to be had: %s", problem.what());
    _exit(mv::ExitNotPublished);
}
