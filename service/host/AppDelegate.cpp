#include "service/host/AppDelegate.h"

#include "Base/Core/NSLog.h"
#include "service/include/ServiceNames.h"

namespace mv {

AppDelegate::AppDelegate(HostPlatform& platform, std::span<const ServiceRow> services)
    : m_platform(platform)
    , m_services(services)
{
    m_platform.addObserver(TerminateNotification, TerminateObject, [this] { MivoTerminate(); });
}

AppDelegate::~AppDelegate()
{
    m_platform.removeObserver(TerminateNotification, TerminateObject);
    finish();
}

void AppDelegate::giveNamesUp()
{
    for (auto& connection : m_connectionList)
        connection->giveNameUp();
}

void AppDelegate::finish()
{
    for (auto& connection : m_connectionList)
        connection->invalidate();
}

void AppDelegate::applicationDidFinishLaunching()
{
    for (const ServiceRow& service : m_services) {
        auto connection = m_platform.serviceConnectionWithName(service.name, service.makeRoot());
        if (!connection) {
            NSLogAt(LogPriority::Error, "%s", service.failureText);
            if (!service.isNeeded)
                continue;
            m_platform.terminate();
            return;
        }
        connection->runInNewThread();
        m_connectionList.push_back(std::move(connection));
    }
    m_hasPublishedAll = true;
    m_platform.tellReady();
}

void AppDelegate::MivoTerminate() { m_platform.terminate(); }

} // namespace mv
