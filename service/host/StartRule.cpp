#include "service/host/StartRule.h"

#include "Base/Core/NSLog.h"
#include "bus/BusName.h"

#include <algorithm>

namespace mv {

namespace {

bool isHeld(QueuedName& lock, std::string_view service)
{
    return busNameHasOwner(lock.bus(), busNameForService(service).c_str());
}

/// The last one is published last, so it tells most.
bool areAllHeld(QueuedName& lock, std::span<const std::string_view> services)
{
    return std::all_of(services.rbegin(), services.rend(), [&](auto service) { return isHeld(lock, service); });
}

bool isNoneHeld(QueuedName& lock, std::span<const std::string_view> services)
{
    return std::none_of(services.begin(), services.end(), [&](auto service) { return isHeld(lock, service); });
}

void logHolder(QueuedName& lock, std::span<const std::string_view> services)
{
    for (std::string_view service : services) {
        std::string name = busNameForService(service);
        if (isHeld(lock, service)) {
            NSLogAt(LogPriority::Error, "%s is taken by %s, and not all of the names are there", name.c_str(),
                busNameOwner(lock.bus(), name).c_str());
            return;
        }
    }
}

} // namespace

StartDecision decideStart(QueuedName& lock, const StartNames& names, const StartPatience& patience)
{
    auto decision = StartDecision::Held;
    auto isDecided = [&] {
        if (areAllHeld(lock, names.needed) && areAllHeld(lock, names.more))
            decision = StartDecision::AlreadyServed;
        else if (lock.isOurs() && isNoneHeld(lock, names.needed) && isNoneHeld(lock, names.more))
            decision = StartDecision::Publish;
        return decision != StartDecision::Held;
    };
    auto now = QueuedName::Clock::now;
    if (!lock.waitUntil([&] { return isDecided() || lock.isOurs(); }, now() + patience.lock)) {
        NSLogAt(LogPriority::Error, "another process starts the services, and does not come to an end");
        return StartDecision::Held;
    }
    // Somebody without the lock starts or leaves at this moment, or a stranger has a name.
    if (lock.waitUntil(isDecided, now() + patience.names))
        return decision;
    if (lock.isOurs() && isNoneHeld(lock, names.needed))
        return StartDecision::Publish;
    logHolder(lock, names.needed);
    return StartDecision::Held;
}

} // namespace mv
