#pragma once

#include "application/NSDistributedNotificationCenter.h"
#include "service/host/AppDelegate.h"

namespace mv {

/// The real platform of the delegate: the session bus and the shared application. Main thread only.
class SystemHost final : public HostPlatform {
public:
    explicit SystemHost(NSApplication& application)
        : m_application(application)
        , m_notifications(application)
    {
    }

    std::unique_ptr<ServiceConnection> serviceConnectionWithName(
        std::string_view name, std::unique_ptr<ServedObject> rootObject) override;
    void addObserver(const std::string& name, const std::string& object, std::function<void()> observer) override;
    void removeObserver(const std::string& name, const std::string& object) override;
    void terminate() override;

private:
    NSApplication& m_application;
    NSDistributedNotificationCenter m_notifications;
};

} // namespace mv
