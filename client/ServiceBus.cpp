#include "client/ServiceBus.h"

#include "Base/Core/NSException.h"
#include "bus/BusError.h"
#include "bus/BusName.h"

#include <array>
#include <cstring>

namespace mv {

namespace {

struct ErrorKindRow {
    std::string_view name;
    Error::Kind kind;
};

constexpr std::array ErrorKinds {
    ErrorKindRow { "org.freedesktop.DBus.Error.ServiceUnknown", Error::Kind::NotFound },
    ErrorKindRow { "org.freedesktop.DBus.Error.NameHasNoOwner", Error::Kind::NotFound },
    ErrorKindRow { BusErrorNoServer, Error::Kind::NotFound },
    ErrorKindRow { BusErrorNoReply, Error::Kind::Io },
    ErrorKindRow { "org.freedesktop.DBus.Error.Disconnected", Error::Kind::Io },
    ErrorKindRow { BusErrorInvalidArgs, Error::Kind::Format },
    ErrorKindRow { BusErrorLimitsExceeded, Error::Kind::Limit },
    ErrorKindRow { BusErrorNotSupported, Error::Kind::Unsupported },
};

Error busError(std::string name, std::string text)
{
    Error error { Error::Kind::State, std::move(text), 0, std::move(name) };
    for (const ErrorKindRow& row : ErrorKinds) {
        if (row.name == error.name)
            error.kind = row.kind;
    }
    return error;
}

/// Of a NameOwnerChanged.
bool hadOwner(sd_bus_message* message)
{
    const char* name = nullptr;
    const char* before = nullptr;
    const char* after = nullptr;
    return sd_bus_message_read(message, "sss", &name, &before, &after) >= 0 && *before;
}

int tellSignal(sd_bus_message* message, void* heard, sd_bus_error*)
{
    (*static_cast<std::function<void(sd_bus_message*)>*>(heard))(message);
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

RemoteObject ServiceBus::object(std::string_view service, const char* interface, const std::string& path) const
{
    return { busNameForService(service), path, interface, m_bus.get() };
}

RemoteObject ServiceBus::objectOf(const std::string& connection, const char* interface, const std::string& path) const
{
    return { connection, path, interface, m_bus.get() };
}

BusSlot ServiceBus::listen(const std::string& match, std::function<void(sd_bus_message*)> heard)
{
    auto kept = std::make_unique<std::function<void(sd_bus_message*)>>(std::move(heard));
    sd_bus_slot* made = nullptr;
    if (int code = sd_bus_add_match_async(m_bus.get(), &made, match.c_str(), tellSignal, nullptr, kept.get()); code < 0)
        throw BusError(BusErrorFailed, std::strerror(-code), -code);
    sd_bus_slot_set_destroy_callback(
        made, [](void* function) { delete static_cast<std::function<void(sd_bus_message*)>*>(function); });
    (void)kept.release();
    return BusSlot(made);
}

std::vector<BusSlot> ServiceBus::serve(ServedObject& object, const std::string& path)
{
    std::vector<BusSlot> slots;
    if (int code = serveAt(*this, path.c_str(), object, slots); code < 0)
        throw BusError(BusErrorFailed, std::strerror(-code), -code);
    return slots;
}

Result<void> ServiceBus::serveUntil(std::string_view service, const std::function<bool()>& done)
{
    bool left = false;
    std::string match = "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                        "member='NameOwnerChanged',arg0='"
        + busNameForService(service) + "'";
    MV_TRY(slot,
        resultOf([&] { return listen(match, [&](sd_bus_message* message) { left = left || hadOwner(message); }); }));
    // It may have left before the match was there.
    left = !hasOwner(service) || left;
    MV_TRY_VOID(resultOf([&] { mv::serveUntil(m_bus.get(), [&] { return left || done(); }); }));
    if (!done())
        return Error { Error::Kind::Io, "the service ended before the job did" };
    return {};
}

bool ServiceBus::hasOwner(std::string_view service)
{
    return busNameHasOwner(m_bus.get(), busNameForService(service).c_str());
}

std::string ServiceBus::ownerOf(std::string_view service)
{
    auto owner = resultOf([&] {
        return busDriver(m_bus.get()).ask("GetNameOwner", &WireReader::string, [&](WireWriter& out) {
            out.string(busNameForService(service));
        });
    });
    return owner ? *owner : std::string();
}

bool ServiceBus::isConnected(const std::string& connection) { return busNameHasOwner(m_bus.get(), connection.c_str()); }

bool ServiceBus::isActivatable(std::string_view service)
{
    std::string wanted = busNameForService(service);
    sd_bus_message* answered = nullptr;
    int code = sd_bus_call_method(m_bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "ListActivatableNames", nullptr, &answered, nullptr);
    BusMessage answer(answered);
    if (code < 0 || sd_bus_message_enter_container(answered, 'a', "s") < 0)
        return false;
    for (const char* name = nullptr; sd_bus_message_read(answered, "s", &name) > 0;) {
        if (wanted == name)
            return true;
    }
    return false;
}

Result<void> ServiceBus::activate(std::string_view service, std::chrono::microseconds longest)
{
    return resultOf([&] {
        busDriver(m_bus.get())
            .call("StartServiceByName", static_cast<std::uint64_t>(longest.count()),
                [&](WireWriter& out) { out.string(busNameForService(service)).unsignedInteger(0); });
    });
}

Result<int> ServiceBus::processIdOf(std::string_view service)
{
    MV_TRY(owner, resultOf([&] {
        return busDriver(m_bus.get()).ask("GetConnectionCredentials", &WireReader::record, [&](WireWriter& out) {
            out.string(busNameForService(service));
        });
    }));
    auto process = owner.integer("ProcessID");
    if (!process)
        return Error { Error::Kind::State, "the bus does not know the process" };
    return int { *process };
}

Error errorOfCall()
{
    try {
        throw;
    } catch (const BusError& error) {
        if (error.code() != 0)
            return { Error::Kind::Io, error.message(), error.code() };
        return busError(error.name(), error.message());
    } catch (const NSException& exception) {
        return busError(BusErrorExceptionPrefix + exception.name(), exception.reason());
    }
}

} // namespace mv
