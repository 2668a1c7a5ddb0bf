#include "service/host/SystemHost.h"

#include "application/NSConnection.h"
#include "bus/ServiceManager.h"

namespace mv {

namespace {

class BusServiceConnection final : public ServiceConnection {
public:
    BusServiceConnection(std::unique_ptr<NSConnection> connection, NSApplication& application)
        : m_connection(std::move(connection))
        , m_application(application)
    {
    }
    void runInNewThread() override
    {
        // Without its bus the process serves nobody, so it leaves in order.
        m_connection->runInNewThread([this] { m_application.terminate(); });
    }
    void giveNameUp() override { m_connection->giveNameUp(); }
    void invalidate() override { m_connection->invalidate(); }

private:
    std::unique_ptr<NSConnection> m_connection;
    NSApplication& m_application;
};

} // namespace

std::unique_ptr<ServiceConnection> SystemHost::serviceConnectionWithName(
    std::string_view name, std::unique_ptr<ServedObject> rootObject)
{
    auto connection = NSConnection::serviceConnectionWithName(name, std::move(rootObject), m_activity);
    if (!connection)
        return nullptr;
    return std::make_unique<BusServiceConnection>(std::move(connection), m_application);
}

void SystemHost::addObserver(const std::string& name, const std::string& object, std::function<void()> observer)
{
    m_notifications.addObserver(name, object, std::move(observer));
}

void SystemHost::removeObserver(const std::string& name, const std::string& object)
{
    m_notifications.removeObserver(name, object);
}

void SystemHost::terminate() { m_application.terminate(); }

void SystemHost::tellReady() { ServiceManager::tellReady(); }

} // namespace mv
