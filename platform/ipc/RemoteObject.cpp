#include "platform/ipc/RemoteObject.h"

#include "Base/Core/NSException.h"
#include "platform/ipc/BusError.h"

#include <cstring>
#include <string_view>

namespace mv {

namespace {

thread_local sd_bus* t_servingBus = nullptr;

sd_bus* busForCalls()
{
    if (t_servingBus)
        return t_servingBus;
    auto bus = threadSessionBus();
    if (!bus)
        throw BusError("org.freedesktop.DBus.Error.NoServer", bus.error().text);
    return *bus;
}

[[noreturn]] void raise(const BusErrorHolder& error)
{
    std::string_view name = error.name();
    if (name.starts_with(BusErrorExceptionPrefix))
        throw NSException(std::string(name.substr(std::strlen(BusErrorExceptionPrefix))), error.message());
    throw BusError(std::string(name), error.message());
}

} // namespace

void setThreadServingBus(sd_bus* bus) { t_servingBus = bus; }

void RemoteObject::call(
    const char* member, std::uint64_t timeoutMicroseconds, const Encode& arguments, const Decode& results) const
{
    sd_bus* bus = busForCalls();
    sd_bus_message* made = nullptr;
    int code = sd_bus_message_new_method_call(
        bus, &made, m_destination.c_str(), m_path.c_str(), m_interface.c_str(), member);
    BusMessage message(made);
    if (code < 0)
        throw BusError(BusErrorFailed, std::strerror(-code));
    if (arguments) {
        WireWriter writer(message.get());
        arguments(writer);
    }
    BusErrorHolder error;
    sd_bus_message* answered = nullptr;
    code = sd_bus_call(bus, message.get(), timeoutMicroseconds, error.get(), &answered);
    BusMessage reply(answered);
    if (code < 0)
        raise(error);
    if (results) {
        WireReader reader(reply.get());
        results(reader);
    }
}

} // namespace mv
