#pragma once

#include "Base/Core/Result.h"
#include "bus/BusHandle.h"
#include "bus/RemoteObject.h"
#include "bus/ServedObject.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

namespace mv {

/// A client's connection to the message bus. Every call waits as long as it takes; while one waits, the delegates
/// that were served here are answered on the calling thread. One thread at a time; a thread that calls at the same
/// time as others opens a connection of its own.
///
/// The proxies of the services raise what stops a call: the exception that the service raised, by its name, or a
/// BusError; resultOf makes a value of it.
class ServiceBus final : private ObjectHost {
public:
    /// To the session bus of the environment.
    static Result<std::unique_ptr<ServiceBus>> open();
    ~ServiceBus() override;

    /// An object of a service, for calls through this connection.
    RemoteObject object(std::string_view service, const char* interface, const std::string& path = "/") const;

    /// The same of the connection that has this name of its own.
    RemoteObject objectOf(const std::string& connection, const char* interface, const std::string& path) const;

    /// Signals that a rule of the bus matches, until the slot is gone; `heard` must not throw. Other connections can
    /// send what looks the same.
    BusSlot listen(const std::string& match, std::function<void(sd_bus_message*)> heard);

    /// A path that nothing on this connection is served at yet.
    std::string freshPath() { return "/delegate/" + std::to_string(m_nextPath++); }
    /// Serves `object` at `path` on this connection until the returned slots are gone. The object must outlive
    /// them.
    std::vector<BusSlot> serve(ServedObject& object, const std::string& path);

    /// Answers what has arrived and waits for more until `done` says so; fails when the owner of the service's name
    /// leaves the bus, or the bus goes away.
    Result<void> serveUntil(std::string_view service, const std::function<bool()>& done);

    bool hasOwner(std::string_view service);
    /// The connection that has the service's name, which nobody else ever has; empty where nobody has it.
    std::string ownerOf(std::string_view service);
    /// True while that connection is on the bus.
    bool isConnected(const std::string& connection);
    /// True when the bus starts the service for whoever calls it.
    bool isActivatable(std::string_view service);
    /// Has the bus start the service, and waits until its name is there.
    Result<void> activate(std::string_view service, std::chrono::microseconds longest);
    /// The process behind a service.
    Result<int> processIdOf(std::string_view service);

    sd_bus* bus() const override { return m_bus.get(); }

private:
    explicit ServiceBus(BusHandle bus)
        : m_bus(std::move(bus))
    {
    }

    BusHandle m_bus;
    std::uint64_t m_nextPath = 1;
};

/// The exception that is being handled, as a value: the D-Bus error's name is in Error::name, its message in
/// Error::text. A service that nobody publishes is Error::Kind::NotFound. What does not come of a call is raised anew.
Error errorOfCall();

/// What a call through proxies gives, or why it failed.
template <class Call> Result<std::invoke_result_t<Call>> resultOf(const Call& call)
{
    try {
        if constexpr (std::is_void_v<std::invoke_result_t<Call>>) {
            call();
            return {};
        } else {
            return call();
        }
    } catch (...) {
        return errorOfCall();
    }
}

} // namespace mv
