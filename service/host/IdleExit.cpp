#include "service/host/IdleExit.h"

namespace mv {

IdleExit::IdleExit(NSApplication& application, Activity& activity, std::chrono::seconds patience)
    : m_application(application)
    , m_activity(activity)
    , m_patience(patience)
{
    m_application.post([this] { check(); });
}

void IdleExit::check()
{
    auto since = m_activity.idleSince();
    if (!since) {
        m_activity.whenIdle([this] { m_application.post([this] { check(); }); });
        return;
    }
    auto end = *since + m_patience;
    if (Activity::Clock::now() < end) {
        m_application.callAt(end, [this] { check(); });
        return;
    }
    m_hasCome = !m_application.terminateAsked();
    m_application.terminate();
}

} // namespace mv
