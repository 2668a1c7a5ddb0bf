#pragma once

#include "Base/Core/Result.h"
#include "bus/BusHandle.h"
#include "bus/ServedObject.h"
#include "bus/Wire.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace mv {

/// One operation of one object of a service.
struct Operation {
    std::string_view service; ///< the service's name, not the bus name
    const char* interface;
    const char* name;
    const char* path = "/";
};

/// A client's connection to the message bus. Every call waits as long as it takes; while one waits, the delegates
/// that were served here are answered on the calling thread. One thread at a time; a thread that calls at the same
/// time as others opens a connection of its own.
///
/// Failures are values: the D-Bus error's name is in Error::name, its message in Error::text. A service that nobody
/// publishes is Error::Kind::NotFound.
class ServiceBus final : private ObjectHost {
public:
    using Encode = std::function<void(WireWriter&)>;
    using Decode = std::function<void(WireReader&)>;

    /// To the session bus of the environment.
    static Result<std::unique_ptr<ServiceBus>> open();
    ~ServiceBus() override;

    Result<void> call(const Operation& operation, const Encode& arguments = {}, const Decode& results = {});
    /// The same with the whole answer, for results that WireReader has no form for.
    Result<BusMessage> answerOf(const Operation& operation, const Encode& arguments = {});

    /// Serves `object` at `path` on this connection until the returned slots are gone. The object must outlive them.
    std::vector<BusSlot> serve(ServedObject& object, const std::string& path);

    /// Answers what has arrived and waits for more until `done` says so; fails when the owner of the service's name
    /// leaves the bus, or the bus goes away.
    Result<void> serveUntil(std::string_view service, const std::function<bool()>& done);

    bool hasOwner(std::string_view service);
    /// The process behind a service.
    Result<int> processIdOf(std::string_view service);

    sd_bus* bus() const override { return m_bus.get(); }

private:
    explicit ServiceBus(BusHandle bus)
        : m_bus(std::move(bus))
    {
    }

    Result<void> processUntil(const std::function<bool()>& done);

    BusHandle m_bus;
};

} // namespace mv
