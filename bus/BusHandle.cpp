#include "bus/BusHandle.h"

#include "bus/BusError.h"
#include "bus/RemoteObject.h"

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
    try {
        return busDriver(bus).ask("NameHasOwner", &WireReader::boolean, [&](WireWriter& out) { out.string(name); });
    } catch (const BusError&) {
        return false;
    }
}

} // namespace mv
