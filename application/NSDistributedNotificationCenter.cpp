#include "application/NSDistributedNotificationCenter.h"

#include "Base/Core/NSLog.h"
#include "application/NSApplication.h"

#include <algorithm>

namespace mv {

namespace {

constexpr const char* Interface = "Mivo.NSDistributedNotificationCenter";
constexpr const char* Member = "notification";

} // namespace

NSDistributedNotificationCenter::NSDistributedNotificationCenter(NSApplication& application)
    : m_application(application)
{
    auto bus = openSessionBus();
    if (!bus)
        return;
    m_bus = std::move(*bus);
    m_application.watch(sd_bus_get_fd(m_bus.get()), [this] { receive(); });
}

NSDistributedNotificationCenter::~NSDistributedNotificationCenter()
{
    if (m_bus)
        m_application.unwatch(sd_bus_get_fd(m_bus.get()));
}

void NSDistributedNotificationCenter::addObserver(
    const std::string& name, const std::string& object, std::function<void()> observer)
{
    if (!m_bus)
        return;
    std::string rule = std::string("type='signal',path='/',interface='") + Interface + "',member='" + Member
        + "',arg0='" + name + "',arg1='" + object + "'";
    auto entry = std::make_unique<Observer>();
    entry->name = name;
    entry->object = object;
    entry->call = std::move(observer);
    sd_bus_slot* slot = nullptr;
    if (sd_bus_add_match(m_bus.get(), &slot, rule.c_str(), received, entry.get()) < 0)
        return;
    entry->match.reset(slot);
    m_observers.push_back(std::move(entry));
    // Waiting for the match's confirmation may have queued signals that the descriptor no longer announces.
    m_application.post([this] { receive(); });
}

void NSDistributedNotificationCenter::removeObserver(const std::string& name, const std::string& object)
{
    std::erase_if(
        m_observers, [&](const auto& observer) { return observer->name == name && observer->object == object; });
}

bool NSDistributedNotificationCenter::post(const std::string& name, const std::string& object)
{
    auto bus = openSessionBus();
    if (!bus)
        return false;
    return sd_bus_emit_signal(bus->get(), "/", Interface, Member, "ss", name.c_str(), object.c_str()) >= 0
        && sd_bus_flush(bus->get()) >= 0;
}

void NSDistributedNotificationCenter::receive()
{
    int code = 1;
    while (code > 0)
        code = sd_bus_process(m_bus.get(), nullptr);
    if (code < 0) {
        m_application.unwatch(sd_bus_get_fd(m_bus.get()));
        m_application.terminate();
    }
}

int NSDistributedNotificationCenter::received(sd_bus_message* message, void* userdata, sd_bus_error*)
{
    try {
        auto* observer = static_cast<Observer*>(userdata);
        const char* name = nullptr;
        const char* object = nullptr;
        if (sd_bus_message_read(message, "ss", &name, &object) >= 0 && observer->name == name
            && observer->object == object)
            observer->call();
    } catch (...) {
        // Nobody waits for an answer to a notification, and the next observer is to hear of it all the same.
        NSLog("an observer raised at a notification");
    }
    return 0;
}

} // namespace mv
