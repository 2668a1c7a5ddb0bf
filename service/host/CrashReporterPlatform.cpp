#include "service/host/CrashReporterPlatform.h"

#include "Base/Core/NSBundle.h"
#include "Base/Core/NSException.h"
#include "application/LaunchServices.h"
#include "application/NSConnection.h"
#include "application/NSFileManager.h"
#include "application/NSThread.h"
#include "application/ProcessTable.h"
#include "bus/BusError.h"

#include <csignal>

namespace mv {

namespace {

// A reporter that does not answer must not hold up the start of the service for long.
constexpr std::uint64_t ReporterTimeoutMicroseconds = 5'000'000;

class ReporterProxy final : public CrashReporterRemote {
public:
    explicit ReporterProxy(RemoteObject remote)
        : m_remote(std::move(remote))
    {
    }

    std::int32_t findProcessByNameCheckAlive(const std::string& name, bool checkAlive) override
    {
        std::int32_t result = 0;
        send(
            "findProcessByNameCheckAlive", [&](WireWriter& out) { out.string(name).boolean(checkAlive); },
            [&](WireReader& in) { result = in.integer(); });
        return result;
    }
    void scanMissedCrash() override { send("scanMissedCrash", {}); }
    void removeProcess(std::int32_t pid) override
    {
        send("removeProcess", [&](WireWriter& out) { out.integer(pid); });
    }
    void addProcessPid(const std::string& name, std::int32_t pid) override
    {
        send("addProcessPid", [&](WireWriter& out) { out.string(name).integer(pid); });
    }

private:
    /// A failure on the way is an exception of the platform's family, as a proxy raises it.
    void send(const char* member, const RemoteObject::Encode& arguments, const RemoteObject::Decode& results = {})
    {
        try {
            m_remote.call(member, ReporterTimeoutMicroseconds, arguments, results);
        } catch (const BusError& error) {
            throw NSException(NSGenericException, error.name() + ": " + error.message());
        }
    }

    RemoteObject m_remote;
};

class ReporterConnection final : public CrashReporterConnection {
public:
    explicit ReporterConnection(std::unique_ptr<NSRemoteConnection> connection)
        : m_connection(std::move(connection))
    {
    }
    std::unique_ptr<CrashReporterRemote> rootProxy() override
    {
        return std::make_unique<ReporterProxy>(m_connection->rootProxy("CrashReporterRemote"));
    }
    void invalidate() override { m_connection->invalidate(); }

private:
    std::unique_ptr<NSRemoteConnection> m_connection;
};

class SystemPlatform final : public CrashReporterPlatform {
public:
    std::unique_ptr<CrashReporterConnection> connectionWithRegisteredName(std::string_view name) override
    {
        auto connection = NSRemoteConnection::connectionWithRegisteredName(name);
        if (!connection)
            return nullptr;
        return std::make_unique<ReporterConnection>(std::move(connection));
    }
    void sleepForTimeInterval(double seconds) override { NSThread::sleepForTimeInterval(seconds); }
    int processTable(void* buffer, std::size_t* size) override { return sysctlProcessTable(buffer, size); }
    void kill(std::int32_t pid, int signal) override { ::kill(pid, signal); }
    bool fileExistsAtPath(const Path& path) override { return NSFileManager::fileExistsAtPath(path); }
    bool openApplication(const Path& path) override
    {
        LSApplicationParameters parameters;
        return FSPathMakeRef(OpenedFile::at(path), parameters.application) == 0 && LSOpenApplication(parameters) == 0;
    }
    Path mainBundleFolder() override { return std::string(NSBundle::mainBundle().bundlePath().directory()); }
    Path mainExecutableFolder() override { return std::string(NSBundle::mainBundle().executablePath().directory()); }
};

} // namespace

CrashReporterPlatform& CrashReporterPlatform::system()
{
    static SystemPlatform platform;
    return platform;
}

} // namespace mv
