#include "bus/BusHandle.h"

#include "Base/Core/Text.h"
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

std::string busNameOwner(sd_bus* bus, const std::string& name)
{
    constexpr std::uint64_t Wanted = SD_BUS_CREDS_PID | SD_BUS_CREDS_COMM | SD_BUS_CREDS_AUGMENT;
    sd_bus_creds* made = nullptr;
    int code = sd_bus_get_name_creds(bus, name.c_str(), Wanted, &made);
    std::unique_ptr<sd_bus_creds, CloseWith<sd_bus_creds_unref>> owner(made);
    pid_t process = 0;
    const char* program = nullptr;
    if (code < 0 || sd_bus_creds_get_pid(made, &process) < 0)
        return "another process";
    if (sd_bus_creds_get_comm(made, &program) < 0)
        return formatText("process %d", static_cast<int>(process));
    return formatText("process %d (%s)", static_cast<int>(process), program);
}

} // namespace mv
