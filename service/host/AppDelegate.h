#pragma once

#include "application/NSApplication.h"
#include "bus/ServedObject.h"

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace mv {

/// A service that was published: what the delegate asks of its connection.
class ServiceConnection {
public:
    virtual ~ServiceConnection() = default;
    virtual void runInNewThread() = 0;
    virtual void giveNameUp() = 0;
    virtual void invalidate() = 0;
};

/// The parts of the platform that the delegate works with.
class HostPlatform {
public:
    virtual ~HostPlatform() = default;
    /// Null when the name cannot be registered.
    virtual std::unique_ptr<ServiceConnection> serviceConnectionWithName(
        std::string_view name, std::unique_ptr<ServedObject> rootObject)
        = 0;
    virtual void addObserver(const std::string& name, const std::string& object, std::function<void()> observer) = 0;
    virtual void removeObserver(const std::string& name, const std::string& object) = 0;
    virtual void terminate() = 0;
    /// Every service is published.
    virtual void tellReady() = 0;
};

/// One published service: its fixed name, the text that is logged when the name cannot be had, and its root object.
struct ServiceRow {
    std::string_view name;
    const char* failureText;
    std::function<std::unique_ptr<ServedObject>()> makeRoot;
    bool isNeeded = true; ///< the others are served without it all the same
};

/// The application's delegate: publishes the services and quits on request. Main thread only.
class AppDelegate final : public NSApplicationDelegate {
public:
    AppDelegate(HostPlatform& platform, std::span<const ServiceRow> services);
    ~AppDelegate() override;
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    /// Publishes every service in order and starts its thread. The first name that is needed and cannot be had is
    /// logged, ends the application, and nothing after it is created.
    void applicationDidFinishLaunching() override;
    void MivoTerminate();
    /// Gives up every name before any call in progress is waited for: nobody finds some of the services here and the
    /// others in a process that was started meanwhile.
    void giveNamesUp();
    /// Answers what has arrived, finishes calls in progress, and serves no more.
    void finish();
    /// False until every service that is needed was published.
    bool hasPublishedAll() const { return m_hasPublishedAll; }

private:
    HostPlatform& m_platform;
    std::span<const ServiceRow> m_services;
    std::vector<std::unique_ptr<ServiceConnection>> m_connectionList;
    bool m_hasPublishedAll = false;
};

} // namespace mv
