#pragma once

#include "process/Channel.h"

#include <algorithm>

namespace mv {

/// How long a job may wait for its worker, all waits together. What the host does itself in between does not count.
class WaitBudget {
public:
    using Clock = Channel::Clock;

    explicit WaitBudget(Clock::duration whole)
        : m_left(whole)
    {
    }

    /// When a wait that begins now has to end.
    Clock::time_point endFrom(Clock::time_point now) const { return now + m_left; }
    void spend(Clock::time_point begin, Clock::time_point end) { m_left -= std::min(m_left, end - begin); }

private:
    Clock::duration m_left;
};

} // namespace mv
