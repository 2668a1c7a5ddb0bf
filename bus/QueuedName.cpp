#include "bus/QueuedName.h"

#include "bus/BusError.h"
#include "bus/RemoteObject.h"

#include <cstring>

namespace mv {

namespace {

// It only wakes the waiting.
int passOn(sd_bus_message*, void*, sd_bus_error*) { return 0; }

} // namespace

Result<std::unique_ptr<QueuedName>> QueuedName::request(const std::string& name)
{
    MV_TRY(bus, openSessionBus());
    std::unique_ptr<QueuedName> queued(new QueuedName(std::move(bus), name));
    sd_bus_slot* slot = nullptr;
    std::string match = "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
                        "member='NameAcquired',arg0='"
        + name + "'";
    int code = sd_bus_add_match(queued->bus(), &slot, match.c_str(), acquired, queued.get());
    queued->m_acquired.reset(slot);
    if (code >= 0)
        code = sd_bus_request_name(queued->bus(), name.c_str(), SD_BUS_NAME_QUEUE);
    if (code < 0)
        return Error { Error::Kind::State, name + " cannot be asked for: " + std::strerror(-code), -code };
    queued->m_isOurs = code > 0;
    return queued;
}

int QueuedName::acquired(sd_bus_message*, void* userdata, sd_bus_error*)
{
    static_cast<QueuedName*>(userdata)->m_isOurs = true;
    return 0;
}

bool QueuedName::waitUntil(const std::function<bool()>& condition, Clock::time_point until)
{
    sd_bus_slot* made = nullptr;
    int code = sd_bus_add_match(bus(), &made,
        "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',member='NameOwnerChanged'",
        passOn, nullptr);
    BusSlot slot(made);
    if (code < 0)
        return condition();
    try {
        return serveUntil(bus(), condition, until);
    } catch (const BusError&) {
        return false;
    }
}

void QueuedName::release()
{
    sd_bus_release_name(bus(), m_name.c_str());
    m_isOurs = false;
}

} // namespace mv
