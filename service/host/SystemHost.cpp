#include "service/host/SystemHost.h"

#include "application/NSConnection.h"
#include "platform/BASS.h"

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
    void invalidate() override { m_connection->invalidate(); }

private:
    std::unique_ptr<NSConnection> m_connection;
    NSApplication& m_application;
};

} // namespace

std::unique_ptr<ServiceConnection> SystemHost::serviceConnectionWithName(
    std::string_view name, std::unique_ptr<ServedObject> rootObject)
{
    auto connection = NSConnection::serviceConnectionWithName(name, std::move(rootObject));
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

void SystemHost::initialiseAudioLibrary(void* owner)
{
    constexpr int DefaultDevice = -1;
    constexpr std::uint32_t Frequency = 44100;
    // Deliberately not looked at: without the library the basic audio parser reports its own failures.
    BASS_Init(DefaultDevice, Frequency, 0, owner, nullptr);
}

void SystemHost::terminate() { m_application.terminate(); }

} // namespace mv
