#include "process/StayingHere.h"

namespace mv {

StayingHere::StayingHere()
{
    CPU_ZERO(&m_before);
    CPU_ZERO(&m_here);
    int processor = sched_getcpu();
    if (processor < 0 || processor >= CPU_SETSIZE || sched_getaffinity(0, sizeof m_before, &m_before) != 0)
        return;
    CPU_SET(processor, &m_here);
    if (sched_setaffinity(0, sizeof m_here, &m_here) != 0)
        CPU_ZERO(&m_here);
}

StayingHere::StayingHere(StayingHere&& other) noexcept
    : m_before(other.m_before)
    , m_here(other.m_here)
{
    CPU_ZERO(&other.m_here);
}

StayingHere::~StayingHere()
{
    if (CPU_COUNT(&m_here) > 0)
        sched_setaffinity(0, sizeof m_before, &m_before);
}

} // namespace mv
