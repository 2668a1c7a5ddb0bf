#pragma once

#include "bus/ServedObject.h"

#include <memory>
#include <vector>

namespace mv {

/// A bus connection of the calling thread's own, for a thread that does a job and tells a client of it: RemoteObject's
/// calls from this thread go through it, and `object` is served on it at "/", answering whenever such a call waits.
/// Made and destroyed by the same thread, which has no other connection that serves it meanwhile.
class ThreadConnection final : private ObjectHost {
public:
    /// Null when there is no bus.
    static std::unique_ptr<ThreadConnection> open(std::unique_ptr<ServedObject> object);
    /// Answers what has arrived and leaves the bus.
    ~ThreadConnection() override;
    ThreadConnection(const ThreadConnection&) = delete;
    ThreadConnection& operator=(const ThreadConnection&) = delete;

private:
    ThreadConnection(BusHandle bus, std::unique_ptr<ServedObject> object);

    sd_bus* bus() const override { return m_bus.get(); }

    BusHandle m_bus;
    std::unique_ptr<ServedObject> m_object;
    std::vector<BusSlot> m_slots;
};

} // namespace mv
