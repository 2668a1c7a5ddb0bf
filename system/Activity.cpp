#include "system/Activity.h"

#include <utility>

namespace mv {

Activity::Hold Activity::begin(Kind kind)
{
    {
        MutexLock lock(m_lock);
        ++(kind == Kind::Work ? m_work : m_clients);
    }
    // Where there is no memory for it, its end is called as well.
    return { this, [kind](Activity* activity) { activity->end(kind); } };
}

void Activity::end(Kind kind)
{
    std::function<void()> call;
    {
        MutexLock lock(m_lock);
        --(kind == Kind::Work ? m_work : m_clients);
        if (m_work == 0)
            m_ended.notify_all();
        if (m_work == 0 && m_clients == 0) {
            m_idleSince = Clock::now();
            call = std::exchange(m_whenIdle, nullptr);
        }
    }
    if (call)
        call();
}

std::optional<Activity::Clock::time_point> Activity::idleSince() const
{
    MutexLock lock(m_lock);
    return m_work == 0 && m_clients == 0 ? std::optional(m_idleSince) : std::nullopt;
}

bool Activity::isWorking() const
{
    MutexLock lock(m_lock);
    return m_work != 0;
}

void Activity::whenIdle(std::function<void()> call)
{
    {
        MutexLock lock(m_lock);
        if (m_work != 0 || m_clients != 0) {
            m_whenIdle = std::move(call);
            return;
        }
    }
    call();
}

void Activity::awaitWork()
{
    MutexLock lock(m_lock);
    while (m_work != 0)
        m_ended.wait(m_lock);
}

} // namespace mv
