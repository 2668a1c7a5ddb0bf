#pragma once

#include "service/host/CrashReporterPlatform.h"

#include <cstdint>
#include <string>

namespace mv {

/// This program's client of the suite's crash reporter. Every operation connects anew (starting the reporter when it
/// does not run), forwards one message and ends the connection; failures stay inside. Blocks the calling thread, at
/// worst about 3 seconds of retries and one call. No shared state; safe on several threads.
class CrashReporterService {
public:
    /// Stops stray reporter processes, then starts the reporter application that lies beside the main bundle or, if
    /// none does, beside the executable. True when the launch was accepted.
    static bool launchServer(CrashReporterPlatform& platform = CrashReporterPlatform::system());

    static void addProcessPid(
        const std::string& name, std::int32_t pid, CrashReporterPlatform& platform = CrashReporterPlatform::system());
    static void removeProcess(std::int32_t pid, CrashReporterPlatform& platform = CrashReporterPlatform::system());
    static void scanMissedCrash(CrashReporterPlatform& platform = CrashReporterPlatform::system());
    /// The reporter's answer; 0 when it could not be reached or the call raised.
    static std::int32_t findProcessByNameCheckAlive(
        const std::string& name, bool checkAlive, CrashReporterPlatform& platform = CrashReporterPlatform::system());

    CrashReporterService() = delete;
};

} // namespace mv
