#include "bus/BusTurn.h"

namespace mv {

void BusTurn::take()
{
    MutexLock lock(m_lock);
    while (m_taken)
        m_given.wait(m_lock);
    m_taken = true;
}

bool BusTurn::takeWithin(std::chrono::milliseconds longest)
{
    auto until = std::chrono::steady_clock::now() + longest;
    MutexLock lock(m_lock);
    while (m_taken) {
        if (m_given.wait_until(m_lock, until) == std::cv_status::timeout && m_taken)
            return false;
    }
    m_taken = true;
    return true;
}

void BusTurn::give()
{
    {
        MutexLock lock(m_lock);
        m_taken = false;
    }
    m_given.notify_one();
}

} // namespace mv
