#include "bus/ThreadConnection.h"

#include "bus/RemoteObject.h"

namespace mv {

std::unique_ptr<ThreadConnection> ThreadConnection::open(std::unique_ptr<ServedObject> object)
{
    auto bus = openSessionBus();
    if (!bus)
        return nullptr;
    std::unique_ptr<ThreadConnection> connection(new ThreadConnection(std::move(*bus), std::move(object)));
    if (serveAt(*connection, "/", *connection->m_object, connection->m_slots) < 0)
        return nullptr;
    return connection;
}

ThreadConnection::ThreadConnection(BusHandle bus, std::unique_ptr<ServedObject> object)
    : m_bus(std::move(bus))
    , m_object(std::move(object))
{
    setThreadServingBus(m_bus.get());
}

ThreadConnection::~ThreadConnection()
{
    // Bounded, so that nobody keeps the thread by calling on and on; the bus answers what is left with an error.
    constexpr int MaxCalls = 1000;
    for (int i = 0; i < MaxCalls && sd_bus_process(m_bus.get(), nullptr) > 0; ++i) { }
    setThreadServingBus(nullptr);
}

} // namespace mv
