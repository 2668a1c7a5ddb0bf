#include "service/host/Announcement.h"

#include "Base/Core/NSBundle.h"
#include "Base/Core/NSLog.h"
#include "service/host/CrashReporterService.h"

#include <exception>
#include <unistd.h>

namespace mv {

namespace {

void announce(CrashReporterPlatform& platform)
{
    try {
        std::string executable(NSBundle::mainBundle().executablePath().lastPathComponent());
        CrashReporterService::addProcessPid(executable, getpid(), platform);
    } catch (const std::exception& problem) {
        NSLog("this process could not be announced to the crash reporter: %s", problem.what());
    }
}

} // namespace

void announceThisProcess(CrashReporterPlatform& platform) noexcept
{
    try {
        announce(platform);
    } catch (...) {
        // What it is nobody knows; the start goes on.
    }
}

} // namespace mv
