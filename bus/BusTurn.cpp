#include "bus/BusTurn.h"

namespace mv {

void BusTurn::take()
{
    MutexLock lock(m_lock);
    awaitTurn();
}

void BusTurn::awaitTurn()
{
    while (m_taken || m_others > 0)
        m_given.wait(m_lock);
    m_taken = true;
}

bool BusTurn::takeWithin(std::chrono::milliseconds longest)
{
    auto until = std::chrono::steady_clock::now() + longest;
    MutexLock lock(m_lock);
    ++m_others;
    bool inTime = true;
    while (m_taken && inTime)
        inTime = m_given.wait_until(m_lock, until) != std::cv_status::timeout;
    --m_others;
    bool isOurs = !m_taken;
    m_taken = true;
    // Who serves may have waited for nothing but this.
    if (!isOurs)
        m_given.notify_all();
    return isOurs;
}

void BusTurn::give()
{
    MutexLock lock(m_lock);
    m_taken = false;
    m_given.notify_all();
}

void BusTurn::letOthersPass()
{
    MutexLock lock(m_lock);
    if (m_others == 0)
        return;
    m_taken = false;
    m_given.notify_all();
    awaitTurn();
}

} // namespace mv
