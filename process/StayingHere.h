#pragma once

#include <sched.h>

namespace mv {

/// Keeps this thread on the processor where it is, until the end of the scope. Where the system refuses that, it runs
/// where it may.
class StayingHere {
public:
    StayingHere();
    /// The scope is that of the new one; of the same thread.
    StayingHere(StayingHere&& other) noexcept;
    ~StayingHere();
    StayingHere(const StayingHere&) = delete;
    StayingHere& operator=(const StayingHere&) = delete;

    /// The one processor; none where the system refused.
    const cpu_set_t& here() const { return m_here; }

private:
    cpu_set_t m_before;
    cpu_set_t m_here;
};

} // namespace mv
