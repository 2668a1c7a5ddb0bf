#pragma once

#include "bus/RemoteObject.h"
#include "bus/ServedObject.h"
#include "system/Activity.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace mv {

class ServiceLoop;

/// A published service: a name on this machine, a root object behind it, and the thread that serves it.
class NSConnection {
public:
    /// Publishes the root object under the service name, so that other processes can find it and send its operations.
    /// Null when the name cannot be registered: another holds it, or there is no bus; the log says which. The
    /// connection keeps the root object alive. What goes on behind it is told to `activity`, where there is one.
    static std::unique_ptr<NSConnection> serviceConnectionWithName(
        std::string_view name, std::unique_ptr<ServedObject> rootObject, Activity* activity = nullptr);
    ~NSConnection();

    /// Starts the thread on which every call of this service runs, one at a time. `onBusDeath` is called there when
    /// the bus goes away.
    void runInNewThread(std::function<void()> onBusDeath = {});
    /// Gives the name up at once, whatever is in progress; what has arrived is still answered. Another thread's to
    /// call.
    void giveNameUp();
    /// Stops serving and gives the name up; a call in progress is finished first.
    void invalidate();

private:
    explicit NSConnection(std::unique_ptr<ServiceLoop> loop);

    std::unique_ptr<ServiceLoop> m_loop;
};

/// A way to a service that somebody else published, over a bus connection of its own. One thread at a time, its
/// proxies included.
class NSRemoteConnection {
public:
    /// Null when nobody on this machine holds the service name; then no connection stays open.
    static std::unique_ptr<NSRemoteConnection> connectionWithRegisteredName(std::string_view name);
    ~NSRemoteConnection() { invalidate(); }
    NSRemoteConnection(const NSRemoteConnection&) = delete;
    NSRemoteConnection& operator=(const NSRemoteConnection&) = delete;

    /// The service's root object, speaking the protocol.
    RemoteObject rootProxy(std::string_view protocol) const;
    /// Ends the connection and leaves the bus; proxies stay usable only for failing.
    void invalidate();

private:
    NSRemoteConnection(BusHandle bus, std::string busName)
        : m_bus(std::move(bus))
        , m_busName(std::move(busName))
    {
    }

    BusHandle m_bus;
    std::string m_busName;
};

} // namespace mv
