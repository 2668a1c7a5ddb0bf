#include "process/Starter.h"

#include <thread>

namespace mv {

Starter& Starter::ofProcess()
{
    // Never destroyed: others may start programs while the process ends.
    static Starter& starter = *new Starter;
    return starter;
}

Starter::Starter()
{
    std::thread([this] { loop(); }).detach();
}

void Starter::run(const std::function<void()>& work)
{
    MutexLock turn(m_turn);
    MutexLock hold(m_lock);
    m_work = &work;
    m_changed.notify_all();
    while (m_work)
        m_changed.wait(m_lock);
}

void Starter::loop()
{
    MutexLock hold(m_lock);
    while (true) {
        while (!m_work)
            m_changed.wait(m_lock);
        (*m_work)();
        m_work = nullptr;
        m_changed.notify_all();
    }
}

} // namespace mv
