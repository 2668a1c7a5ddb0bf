#pragma once

#include "Base/Core/Path.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace mv {

/// What the crash reporter's root object answers to.
class CrashReporterRemote {
public:
    virtual ~CrashReporterRemote() = default;
    /// The result's meaning is the reporter's own.
    virtual std::int32_t findProcessByNameCheckAlive(const std::string& name, bool checkAlive) = 0;
    virtual void scanMissedCrash() = 0;
    virtual void removeProcess(std::int32_t pid) = 0;
    virtual void addProcessPid(const std::string& name, std::int32_t pid) = 0;
};

/// A connection to the reporter. Both operations may raise.
class CrashReporterConnection {
public:
    virtual ~CrashReporterConnection() = default;
    virtual std::unique_ptr<CrashReporterRemote> rootProxy() = 0;
    virtual void invalidate() = 0;
};

/// The machine as the crash reporter's client sees it.
class CrashReporterPlatform {
public:
    virtual ~CrashReporterPlatform() = default;
    /// Null when the name is not registered.
    virtual std::unique_ptr<CrashReporterConnection> connectionWithRegisteredName(std::string_view name) = 0;
    virtual void sleepForTimeInterval(double seconds) = 0;
    /// sysctlProcessTable.
    virtual int processTable(void* buffer, std::size_t* size) = 0;
    virtual void kill(std::int32_t pid, int signal) = 0;
    virtual bool fileExistsAtPath(const Path& path) = 0;
    /// True when a reference to the file could be made and its application was started.
    virtual bool openApplication(const Path& path) = 0;
    /// The folder that contains the main bundle, and the one that contains the main executable.
    virtual Path mainBundleFolder() = 0;
    virtual Path mainExecutableFolder() = 0;

    /// The real machine.
    static CrashReporterPlatform& system();
};

} // namespace mv
