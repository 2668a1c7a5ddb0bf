#pragma once

#include "system/Mutex.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace mv {

/// What goes on in a process that is to leave when nothing does. Safe on several threads at once; outlives its holds.
class Activity {
public:
    using Clock = std::chrono::steady_clock;
    /// Something goes on for as long as one of its copies lives.
    using Hold = std::shared_ptr<void>;

    enum class Kind {
        Work, ///< a call or a job
        Client, ///< what is kept for a client that lives
    };

    Hold begin(Kind kind) MV_EXCLUDES(m_lock);

    /// When the last hold ended, of whatever kind; nothing while there is one.
    std::optional<Clock::time_point> idleSince() const MV_EXCLUDES(m_lock);
    bool isWorking() const MV_EXCLUDES(m_lock);

    /// Has `call` called once, on the thread that ends the last hold; at once, where there is none.
    void whenIdle(std::function<void()> call) MV_EXCLUDES(m_lock);
    /// Blocks until no work is left.
    void awaitWork() MV_EXCLUDES(m_lock);

private:
    void end(Kind kind) MV_EXCLUDES(m_lock);

    mutable Mutex m_lock;
    std::condition_variable_any m_ended;
    int m_work MV_GUARDED_BY(m_lock) = 0;
    int m_clients MV_GUARDED_BY(m_lock) = 0;
    Clock::time_point m_idleSince MV_GUARDED_BY(m_lock) = Clock::now();
    std::function<void()> m_whenIdle MV_GUARDED_BY(m_lock);
};

} // namespace mv
