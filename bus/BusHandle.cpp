#include "bus/BusHandle.h"

#include <cstring>

namespace mv {

Result<BusHandle> openSessionBus()
{
    sd_bus* bus = nullptr;
    if (int code = sd_bus_open_user(&bus); code < 0)
        return Error { Error::Kind::NotFound, std::strerror(-code), -code };
    return BusHandle(bus);
}

bool busNameHasOwner(sd_bus* bus, const char* name)
{
    sd_bus_message* reply = nullptr;
    int code = sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "NameHasOwner", nullptr, &reply, "s", name);
    BusMessage holder(reply);
    int owned = 0;
    return code >= 0 && sd_bus_message_read(reply, "b", &owned) >= 0 && owned;
}

} // namespace mv
