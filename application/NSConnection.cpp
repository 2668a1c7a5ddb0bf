#include "application/NSConnection.h"

#include "Base/Core/NSLog.h"
#include "bus/BusName.h"
#include "bus/ServiceLoop.h"

namespace mv {

std::unique_ptr<NSConnection> NSConnection::serviceConnectionWithName(
    std::string_view name, std::unique_ptr<ServedObject> rootObject, Activity* activity)
{
    auto loop = ServiceLoop::publish(busNameForService(name), std::move(rootObject), activity);
    if (!loop) {
        NSLogAt(LogPriority::Error, "%s", loop.error().text.c_str());
        return nullptr;
    }
    return std::unique_ptr<NSConnection>(new NSConnection(std::move(*loop)));
}

NSConnection::NSConnection(std::unique_ptr<ServiceLoop> loop)
    : m_loop(std::move(loop))
{
}

NSConnection::~NSConnection() = default;

void NSConnection::runInNewThread(std::function<void()> onBusDeath) { m_loop->start(std::move(onBusDeath)); }

void NSConnection::giveNameUp() { m_loop->giveNameUp(); }

void NSConnection::invalidate() { m_loop->stop(); }

std::unique_ptr<NSRemoteConnection> NSRemoteConnection::connectionWithRegisteredName(std::string_view name)
{
    auto bus = openSessionBus();
    std::string busName = busNameForService(name);
    if (!bus || !busNameHasOwner(bus->get(), busName.c_str()))
        return nullptr;
    return std::unique_ptr<NSRemoteConnection>(new NSRemoteConnection(std::move(*bus), std::move(busName)));
}

RemoteObject NSRemoteConnection::rootProxy(std::string_view protocol) const
{
    return RemoteObject(m_busName, "/", interfaceForProtocol(protocol), m_bus.get());
}

void NSRemoteConnection::invalidate()
{
    sd_bus_flush(m_bus.get());
    sd_bus_close(m_bus.get());
}

} // namespace mv
