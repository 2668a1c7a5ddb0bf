#pragma once

#include "system/Mutex.h"

#include <condition_variable>
#include <functional>

namespace mv {

/// The thread of this process that starts programs. A program that wants to end with its parent ends with the thread
/// that has started it: this one lives as long as the process.
class Starter {
public:
    /// The one of this process; throws std::system_error where the system has no room for a thread.
    static Starter& ofProcess();

    /// Runs `work`, which does not throw, on that thread, and waits until it is done. One at a time.
    void run(const std::function<void()>& work) MV_EXCLUDES(m_turn, m_lock);

private:
    Starter();
    [[noreturn]] void loop() MV_EXCLUDES(m_lock);

    Mutex m_turn; // one caller at a time
    Mutex m_lock;
    std::condition_variable_any m_changed;
    const std::function<void()>* m_work MV_GUARDED_BY(m_lock) = nullptr; // null when it is done
};

} // namespace mv
