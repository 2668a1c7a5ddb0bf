#include "Base/Core/DebugLog.h"
#include "Base/Core/NSLog.h"
#include "bus/ServedObject.h"
#include "bus/ServiceManager.h"
#include "service/host/Announcement.h"
#include "service/host/CommandLine.h"
#include "service/host/IdleExit.h"
#include "service/host/Services.h"
#include "service/host/StartRule.h"
#include "service/host/StartedOnDemand.h"
#include "service/host/SystemHost.h"
#include "service/include/ServiceNames.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <malloc.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace {

using namespace mv;

constexpr std::array MoreNames { Media1Service };

// How long calls in progress may take to finish when the service is told to quit. Files are replaced whole or not
// at all, so a job that is cut off loses nothing but its own output.
constexpr std::chrono::seconds QuitGrace { 3 };
// A process that is there on demand leaves after so long without any.
constexpr std::chrono::seconds IdleExitOnDemand { 300 };

// A call that comes in the moment in which an idle process leaves may be a job, which nobody has told to quit.
constexpr std::chrono::seconds LastCallPatience { 3600 };

/// Large buffers go back to the system when they are freed. Left to itself the allocator raises its threshold to the
/// largest picture or frame seen, in each of the services' threads, and a busy day ends with a hundred idle megabytes.
void keepMemoryFlat()
{
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 20);
}

void openLog(LogPriority level)
{
    setLogLimit(level);
    if (level == LogPriority::Debug)
        setDebugLevel(DebugLevelParameters);
}

void leaveAfterGrace(int status)
{
    std::thread([status] {
        std::this_thread::sleep_for(QuitGrace);
        _exit(status);
    }).detach();
}

/// Nobody told this process to leave, so what had arrived before its names were gone takes as long as it takes, and who
/// does tell it from now on cuts that off.
void finishWhatCame(AppDelegate& delegate, Activity& activity)
{
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
    delegate.finish();
    activity.awaitWork();
}

/// In this order no call is lost: one that comes before the names are gone is answered here, one that comes later
/// starts the next process, which systemd puts off where it must, and which finds no name taken.
void leave(AppDelegate& delegate, Activity& activity, QueuedName* lock, bool isIdle, int status)
{
    // Where a job goes on, systemd is not kept waiting for its end.
    std::optional<UnitPlaceholder> placeholder;
    if (activity.isWorking() && ServiceManager::startedThisProcess())
        placeholder = UnitPlaceholder::takeOurPlace();
    ServiceManager::tellStopping(
        placeholder ? &*placeholder : nullptr, isIdle ? LastCallPatience : std::chrono::seconds(0));
    delegate.giveNamesUp();
    if (lock)
        lock->release();
    placeholder.reset();
    if (isIdle)
        finishWhatCame(delegate, activity);
    else
        leaveAfterGrace(status);
}

/// The services until the process is to leave; the exit status. `lock` is null where they were started by hand.
int serve(std::chrono::seconds idleExit, QueuedName* lock)
{
    Activity activity;
    WorkerHost workers(installedWorkerProgram(), callingClient);
    workers.pool().keepSpares();
    Activity* watched = idleExit.count() > 0 || lock ? &activity : nullptr;
    const std::vector<ServiceRow> rows = services(workers, watched);
    NSApplication& application = NSApplication::sharedApplication();
    SystemHost host(application, watched);
    AppDelegate delegate(host, rows);
    std::optional<IdleExit> idle;
    if (idleExit.count() > 0)
        idle.emplace(application, activity, idleExit);
    int status = NSApplicationMain(delegate);
    if (!delegate.hasPublishedAll())
        status = ExitNotPublished;
    leave(delegate, activity, lock, idle && idle->hasCome(), status);
    return status;
}

} // namespace

int main(int count, char** words)
try {
    // A log that nobody reads any more ends nothing.
    std::signal(SIGPIPE, SIG_IGN);
    // Nor does a file that may not become so long: writing it fails.
    std::signal(SIGXFSZ, SIG_IGN);
    auto read = readCommandLine({ words + 1, words + std::max(count, 1) });
    if (int* status = std::get_if<int>(&read))
        return *status;
    const auto settings = std::get<ServiceSettings>(read);
    if (settings.logLevel)
        openLog(*settings.logLevel);
    keepMemoryFlat();

    // Without a bus there is nobody to share the names with, and publishing them says what is missing.
    std::unique_ptr<QueuedName> lock;
    if (settings.onDemand || wasStartedOnDemand()) {
        if (auto asked = QueuedName::request(HostLockName))
            lock = std::move(*asked);
    }
    if (lock) {
        if (auto decision = decideStart(*lock, { ServiceNames, MoreNames }); decision != StartDecision::Publish)
            return decision == StartDecision::AlreadyServed ? ExitDone : ExitNotPublished;
    }
    announceThisProcess();
    int status = serve(settings.idleExit.value_or(lock ? IdleExitOnDemand : std::chrono::seconds(0)), lock.get());
#if !defined(__SANITIZE_ADDRESS__)
    // Detached encoding threads may still run; nothing static is torn down under them.
    _exit(status);
#endif
    return status;
} catch (const std::system_error& problem) {
    // Each name is served by a thread of its own.
    mv::NSLogAt(mv::LogPriority::Error, "a thread is needed and not to be had: %s", problem.what());
    _exit(mv::ExitNotPublished);
}
