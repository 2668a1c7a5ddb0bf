#include "service/host/CrashReporterService.h"

#include "Base/Core/Bytes.h"
#include "Base/Core/NSException.h"
#include "Base/Core/NSLog.h"
#include "application/ProcessTable.h"
#include "service/include/ServiceNames.h"

#include <csignal>
#include <cstring>
#include <functional>

namespace mv {

namespace {

constexpr std::string_view ReporterApplication = "MivoCrashReporter.app";
constexpr int LookupsAfterLaunch = 10;
constexpr double SecondsBeforeLookup = 0.3;

// With its terminating NUL, as it is compared.
constexpr char ReporterProcessName[18] = "MivoCrashReporter";

/// The table of all processes; empty when it cannot be had.
Bytes processTable(CrashReporterPlatform& platform)
{
    std::size_t size = 0;
    if (platform.processTable(nullptr, &size) != 0)
        return {};
    Bytes table(size);
    if (platform.processTable(table.data(), &size) != 0)
        return {};
    table.resize(std::min(size, table.size()));
    return table;
}

/// Deliberate: the table keeps at most 16 characters of a name, so this name of 17 never matches and nothing is
/// signalled. Clients rely on a running reporter being left alone.
void stopStrayReporters(CrashReporterPlatform& platform)
{
    Bytes table = processTable(platform);
    for (std::size_t at = 0; at + ProcessRecordSize <= table.size(); at += ProcessRecordSize) {
        const std::uint8_t* record = table.data() + at;
        std::int32_t pid = 0;
        std::memcpy(&pid, record + ProcessRecordPidOffset, sizeof pid);
        if (std::memcmp(record + ProcessRecordNameOffset, ReporterProcessName, sizeof ReporterProcessName) == 0)
            platform.kill(pid, SIGTERM);
    }
}

std::unique_ptr<CrashReporterConnection> connect(CrashReporterPlatform& platform)
{
    auto connection = platform.connectionWithRegisteredName(CrashReporterServiceName);
    if (connection || !CrashReporterService::launchServer(platform))
        return connection;
    for (int lookup = 0; lookup < LookupsAfterLaunch && !connection; ++lookup) {
        platform.sleepForTimeInterval(SecondsBeforeLookup);
        connection = platform.connectionWithRegisteredName(CrashReporterServiceName);
    }
    return connection;
}

void invalidate(CrashReporterConnection& connection)
{
    try {
        connection.invalidate();
    } catch (const NSException&) {
        // A connection that cannot even be ended is of no more use either way.
    }
}

/// `failureText` is the log format's part before the exception.
void forward(
    CrashReporterPlatform& platform, const char* failureText, const std::function<void(CrashReporterRemote&)>& send)
{
    auto connection = connect(platform);
    if (!connection)
        return;
    try {
        send(*connection->rootProxy());
    } catch (const NSException& exception) {
        NSLog("%s%s", failureText, exception.reason().c_str());
    } catch (...) {
        invalidate(*connection);
        throw;
    }
    invalidate(*connection);
}

} // namespace

bool CrashReporterService::launchServer(CrashReporterPlatform& platform)
{
    stopStrayReporters(platform);
    Path candidate = platform.mainBundleFolder().appending(ReporterApplication);
    if (!platform.fileExistsAtPath(candidate))
        candidate = platform.mainExecutableFolder().appending(ReporterApplication);
    if (platform.fileExistsAtPath(candidate) && platform.openApplication(candidate))
        return true;
    // Most machines have none.
    NSLogAt(LogPriority::Debug, "failed to launch %s", candidate.c_str());
    return false;
}

void CrashReporterService::addProcessPid(const std::string& name, std::int32_t pid, CrashReporterPlatform& platform)
{
    forward(platform, "CrashReporterService addProcess fail: ", [&](CrashReporterRemote& reporter) {
        reporter.addProcessPid(name, pid);
    });
}

void CrashReporterService::removeProcess(std::int32_t pid, CrashReporterPlatform& platform)
{
    forward(platform, "CrashReporterService removeProcess fail: ", [&](CrashReporterRemote& reporter) {
        reporter.removeProcess(pid);
    });
}

void CrashReporterService::scanMissedCrash(CrashReporterPlatform& platform)
{
    forward(platform, "CrashReporterService scanMissedCrash fail: ", [](CrashReporterRemote& reporter) {
        reporter.scanMissedCrash();
    });
}

std::int32_t CrashReporterService::findProcessByNameCheckAlive(
    const std::string& name, bool checkAlive, CrashReporterPlatform& platform)
{
    std::int32_t result = 0;
    forward(platform, "CrashReporterService findProcessByName fail: ", [&](CrashReporterRemote& reporter) {
        result = reporter.findProcessByNameCheckAlive(name, checkAlive);
    });
    return result;
}

} // namespace mv
