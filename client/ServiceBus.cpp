#include "client/ServiceBus.h"

#include "Base/Core/Text.h"
#include "bus/BusError.h"
#include "bus/BusName.h"
#include "bus/RemoteObject.h"

#include <array>
#include <csignal>
#include <cstring>

namespace mv {

namespace {

struct ErrorKindRow {
    std::string_view name;
    Error::Kind kind;
};

constexpr std::array kErrorKinds {
    ErrorKindRow { "org.freedesktop.DBus.Error.ServiceUnknown", Error::Kind::NotFound },
    ErrorKindRow { "org.freedesktop.DBus.Error.NameHasNoOwner", Error::Kind::NotFound },
    ErrorKindRow { BusErrorNoServer, Error::Kind::NotFound },
    ErrorKindRow { BusErrorNoReply, Error::Kind::Io },
    ErrorKindRow { "org.freedesktop.DBus.Error.Disconnected", Error::Kind::Io },
    ErrorKindRow { BusErrorInvalidArgs, Error::Kind::Format },
    ErrorKindRow { BusErrorLimitsExceeded, Error::Kind::Limit },
    ErrorKindRow { BusErrorNotSupported, Error::Kind::Unsupported },
};

Error busError(std::string name, std::string text, int code = 0)
{
    Error error { Error::Kind::State, std::move(text), code, std::move(name) };
    for (const ErrorKindRow& row : kErrorKinds) {
        if (row.name == error.name)
            error.kind = row.kind;
    }
    return error;
}

Error systemError(int code) { return { Error::Kind::Io, std::strerror(-code), -code }; }

struct Answer {
    bool arrived = false;
    BusMessage message;
};

int takeAnswer(sd_bus_message* message, void* user, sd_bus_error*)
{
    auto& answer = *static_cast<Answer*>(user);
    answer.arrived = true;
    answer.message.reset(sd_bus_message_ref(message));
    return 1;
}

int noteOwnerLeft(sd_bus_message* message, void* user, sd_bus_error*)
{
    const char* name = nullptr;
    const char* before = nullptr;
    const char* after = nullptr;
    if (sd_bus_message_read(message, "sss", &name, &before, &after) >= 0 && *before)
        *static_cast<bool*>(user) = true;
    return 0;
}

} // namespace

Result<std::unique_ptr<ServiceBus>> ServiceBus::open()
{
    MV_TRY(bus, openSessionBus());
    sd_bus_set_method_call_timeout(bus.get(), CallWithoutTimeout);
    // Only a greeting tells a bus from a socket that somebody left behind.
    const char* name = nullptr;
    if (int code = sd_bus_get_unique_name(bus.get(), &name); code < 0)
        return Error { Error::Kind::NotFound, std::strerror(-code), -code };
    return std::unique_ptr<ServiceBus>(new ServiceBus(std::move(bus)));
}

ServiceBus::~ServiceBus() = default;

namespace {

/// Keeps interrupting signals back for a scope: a call that waits inside the bus library would fail by one. They are
/// delivered at the end of the scope.
class InterruptionsHeld {
public:
    InterruptionsHeld()
    {
        sigset_t held;
        sigemptyset(&held);
        sigaddset(&held, SIGINT);
        sigaddset(&held, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &held, &m_before);
    }
    ~InterruptionsHeld() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    InterruptionsHeld(const InterruptionsHeld&) = delete;
    InterruptionsHeld& operator=(const InterruptionsHeld&) = delete;

private:
    sigset_t m_before;
};

} // namespace

Result<void> ServiceBus::processUntil(const std::function<bool()>& done)
{
    while (!done()) {
        int code = sd_bus_process(m_bus.get(), nullptr);
        if (code == 0 && !done())
            code = sd_bus_wait(m_bus.get(), UINT64_MAX);
        if (code < 0 && code != -EINTR)
            return systemError(code);
    }
    return {};
}

Result<BusMessage> ServiceBus::answerOf(const Operation& operation, const Encode& arguments)
{
    std::string destination = busNameForService(operation.service);
    sd_bus_message* made = nullptr;
    int code = sd_bus_message_new_method_call(
        m_bus.get(), &made, destination.c_str(), operation.path, operation.interface, operation.name);
    BusMessage message(made);
    if (code < 0)
        return systemError(code);
    try {
        WireWriter writer(message.get());
        if (arguments)
            arguments(writer);
    } catch (const BusError& error) {
        return busError(error.name(), error.message());
    }
    Answer answer;
    sd_bus_slot* waiting = nullptr;
    code = sd_bus_call_async(m_bus.get(), &waiting, message.get(), takeAnswer, &answer, CallWithoutTimeout);
    BusSlot slot(waiting);
    if (code < 0)
        return systemError(code);
    MV_TRY_VOID(processUntil([&] { return answer.arrived; }));
    if (const sd_bus_error* error = sd_bus_message_get_error(answer.message.get()))
        return busError(error->name ? error->name : "", error->message ? error->message : "");
    return std::move(answer.message);
}

Result<void> ServiceBus::call(const Operation& operation, const Encode& arguments, const Decode& results)
{
    MV_TRY(message, answerOf(operation, arguments));
    if (!results)
        return {};
    try {
        WireReader reader(message.get());
        results(reader);
    } catch (const BusError& error) {
        return busError(error.name(), error.message());
    }
    return {};
}

std::vector<BusSlot> ServiceBus::serve(ServedObject& object, const std::string& path)
{
    std::vector<BusSlot> slots;
    serveAt(*this, path.c_str(), object, slots);
    return slots;
}

Result<void> ServiceBus::serveUntil(std::string_view service, const std::function<bool()>& done)
{
    bool left = false;
    std::string match = "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                        "member='NameOwnerChanged',arg0='"
        + busNameForService(service) + "'";
    BusSlot slot;
    {
        InterruptionsHeld held;
        sd_bus_slot* watching = nullptr;
        int code = sd_bus_add_match(m_bus.get(), &watching, match.c_str(), noteOwnerLeft, &left);
        slot.reset(watching);
        if (code < 0)
            return systemError(code);
        // It may have left before the match was there.
        left = left || !hasOwner(service);
    }
    MV_TRY_VOID(processUntil([&] { return left || done(); }));
    if (!done())
        return Error { Error::Kind::Io, "the service ended before the job did" };
    return {};
}

bool ServiceBus::hasOwner(std::string_view service)
{
    return busNameHasOwner(m_bus.get(), busNameForService(service).c_str());
}

Result<int> ServiceBus::processIdOf(std::string_view service)
{
    BusErrorHolder error;
    sd_bus_message* answered = nullptr;
    std::string name = busNameForService(service);
    int code = sd_bus_call_method(m_bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetConnectionUnixProcessID", error.get(), &answered, "s", name.c_str());
    BusMessage answer(answered);
    if (code < 0)
        return busError(error.name(), error.message(), -code);
    std::uint32_t processId = 0;
    if (code = sd_bus_message_read(answer.get(), "u", &processId); code < 0)
        return systemError(code);
    return static_cast<int>(processId);
}

} // namespace mv
