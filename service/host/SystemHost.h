#pragma once

#include "application/NSDistributedNotificationCenter.h"
#include "service/host/AppDelegate.h"
#include "system/Activity.h"

namespace mv {

/// The real platform of the delegate: the session bus and the shared application. Main thread only.
class SystemHost final : public HostPlatform {
public:
    /// What goes on in the services is told to `activity`, where there is one.
    SystemHost(NSApplication& application, Activity* activity)
        : m_application(application)
        , m_activity(activity)
        , m_notifications(application)
    {
    }

    std::unique_ptr<ServiceConnection> serviceConnectionWithName(
        std::string_view name, std::unique_ptr<ServedObject> rootObject) override;
    void addObserver(const std::string& name, const std::string& object, std::function<void()> observer) override;
    void removeObserver(const std::string& name, const std::string& object) override;
    void terminate() override;
    void tellReady() override;

private:
    NSApplication& m_application;
    Activity* m_activity;
    NSDistributedNotificationCenter m_notifications;
};

} // namespace mv
