#include "libmivo/MediaLine.h"

namespace mivo {

namespace {

// So that who floods the connection does not keep the caller.
constexpr int MaxMessagesAtOnce = 1000;

} // namespace

bool MediaLine::serve()
{
    int count = 0;
    auto isEnough = [&] { return ++count > MaxMessagesAtOnce; };
    return m_client.serveUntil(isEnough, std::chrono::steady_clock::now()).ok();
}

bool MediaLine::hasMore() const
{
    std::uint64_t time = 0;
    return sd_bus_get_events(bus()) <= 0 || (sd_bus_get_timeout(bus(), &time) > 0 && time == 0);
}

} // namespace mivo
