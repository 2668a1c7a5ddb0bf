#pragma once

#include "bus/BusHandle.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace mv {

class NSApplication;

/// Machine-wide notifications, matched by a name and an object string. Observers are called on the main thread by
/// the application's run loop. Main thread only.
class NSDistributedNotificationCenter {
public:
    explicit NSDistributedNotificationCenter(NSApplication& application);
    ~NSDistributedNotificationCenter();
    NSDistributedNotificationCenter(const NSDistributedNotificationCenter&) = delete;
    NSDistributedNotificationCenter& operator=(const NSDistributedNotificationCenter&) = delete;

    /// Calls `observer` for every notification of that name and object. Delivered whatever the application does; the
    /// run loop must run. Without a bus nothing ever comes. When the bus goes away the application terminates.
    void addObserver(const std::string& name, const std::string& object, std::function<void()> observer);
    void removeObserver(const std::string& name, const std::string& object);

    /// Sends a notification to every process on the bus; false when there is no bus.
    static bool post(const std::string& name, const std::string& object);

private:
    struct Observer {
        std::string name;
        std::string object;
        std::function<void()> call;
        BusSlot match;
    };

    void receive();
    static int received(sd_bus_message* message, void* userdata, sd_bus_error* error);

    NSApplication& m_application;
    BusHandle m_bus;
    std::vector<std::unique_ptr<Observer>> m_observers;
};

} // namespace mv
