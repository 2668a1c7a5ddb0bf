#pragma once

#include "bus/BusHandle.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace mv {

/// A bus name that one process has while others wait in a queue for it: a lock that is lost with its holder. One thread
/// at a time.
class QueuedName {
public:
    using Clock = std::chrono::steady_clock;

    /// Asks for the name; who cannot have it at once waits for it. Fails where there is no bus.
    static Result<std::unique_ptr<QueuedName>> request(const std::string& name);

    bool isOurs() const { return m_isOurs; }
    /// Waits until `condition` holds, which is asked whenever a name on the bus changes hands; false when it does not
    /// come to hold in time, or the bus goes away.
    bool waitUntil(const std::function<bool()>& condition, Clock::time_point until);
    /// Gives the name, or the place in the queue, up.
    void release();

    sd_bus* bus() const { return m_bus.get(); }

private:
    QueuedName(BusHandle bus, std::string name)
        : m_bus(std::move(bus))
        , m_name(std::move(name))
    {
    }

    static int acquired(sd_bus_message* message, void* userdata, sd_bus_error* error);

    BusHandle m_bus;
    std::string m_name;
    BusSlot m_acquired;
    bool m_isOurs = false;
};

} // namespace mv
