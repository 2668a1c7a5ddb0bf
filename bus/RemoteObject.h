#pragma once

#include "bus/BusHandle.h"
#include "bus/BusTurn.h"
#include "bus/Wire.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace mv {

/// Waits as long as it takes.
inline constexpr std::uint64_t CallWithoutTimeout = UINT64_MAX;

/// What a call was answered with. Lives as long as the callback that is given it.
class CallAnswer {
public:
    /// Of a message of the bus, which outlives it.
    explicit CallAnswer(sd_bus_message* message)
        : m_message(message)
    {
    }

    /// The results; throws what RemoteObject::call throws where it is an error.
    WireReader results() const;

private:
    sd_bus_message* m_message;
};

/// An object on somebody's bus connection. Calls go through the connection that the object was given, or through the
/// one that serves the calling thread, so that they keep their order with everything else that is sent there; a
/// thread that has none cannot call. Calls that arrive on that connection meanwhile are answered while this one waits,
/// unless it is made inside the answer to another: those wait their turn.
class RemoteObject {
public:
    using Encode = std::function<void(WireWriter&)>;
    using Decode = std::function<void(WireReader&)>;

    /// `destination` is a bus name, `interface` a full interface name; `bus` is kept as long as the object.
    RemoteObject(std::string destination, std::string path, std::string interface, sd_bus* bus = nullptr)
        : m_destination(std::move(destination))
        , m_path(std::move(path))
        , m_interface(std::move(interface))
        , m_bus(sd_bus_ref(bus), sd_bus_unref)
    {
    }

    const std::string& destination() const { return m_destination; }
    const std::string& path() const { return m_path; }

    /// Calls an operation and waits for its answer. Throws BusError with the error's own name and message; for an
    /// error that stands for an exception of the platform's family throws that NSException.
    void call(const char* member, std::uint64_t timeoutMicroseconds, const Encode& arguments = {},
        const Decode& results = {}) const;

    using Answered = std::function<void(const CallAnswer&)>;
    /// Sends a call and does not wait: `answered` is called on the thread that serves the connection, and must not
    /// throw; not after the slot has gone. Throws BusError where the call cannot be sent.
    [[nodiscard]] BusSlot send(const char* member, const Encode& arguments, Answered answered) const;
    /// Sends a call whose answer nobody waits for; what fails is of no interest either.
    void post(const char* member) const noexcept;

    /// Calls an operation that has a result, and waits as long as it takes.
    template <class T> T ask(const char* member, T (WireReader::*result)(), const Encode& arguments = {}) const
    {
        T answer {};
        call(member, CallWithoutTimeout, arguments, [&](WireReader& in) { answer = (in.*result)(); });
        return answer;
    }

private:
    sd_bus* busForCalls() const;
    BusMessage newCall(const char* member, const Encode& arguments) const;

    std::string m_destination;
    std::string m_path;
    std::string m_interface;
    std::shared_ptr<sd_bus> m_bus;
};

/// The bus itself, as an object on it.
RemoteObject busDriver(sd_bus* bus);

/// Answers what arrives on the connection until `done` says so; false when the time has come before that. Throws
/// BusError when the bus goes away. Interrupting signals are no failure.
bool serveUntil(sd_bus* bus, const std::function<bool()>& done,
    std::chrono::steady_clock::time_point until = std::chrono::steady_clock::time_point::max());

/// Names the connection that serves the current thread, for RemoteObject; null when it ends. With a turn, where other
/// threads use it as well: what a call asks for is done without the turn, and messages are sent with it.
void setThreadServingBus(sd_bus* bus, BusTurn* turn = nullptr);
/// The connection that serves the current thread, or null.
sd_bus* threadServingBus();
/// Its turn, or null.
BusTurn* threadBusTurn();

} // namespace mv
