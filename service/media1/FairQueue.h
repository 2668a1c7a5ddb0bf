#pragma once

#include "system/Mutex.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <string>

namespace mv {

/// Work of many clients on a few threads, each client's in its order, the clients in turn. As many pieces run at once
/// as there are cores; a client of whose work none runs does not wait for the others' to end. Threads come with work
/// and go some time after it, so that nothing runs here while nobody asks.
///
/// Safe on several threads at once.
class FairQueue {
public:
    using Clock = std::chrono::steady_clock;
    using Work = std::function<void()>; ///< raises nothing

    static constexpr std::size_t MaxThreads = 32;
    static constexpr std::chrono::seconds MaxIdle { 10 };

    explicit FairQueue(std::size_t cores, Clock::duration maxIdle = MaxIdle)
        : m_cores(cores)
        , m_maxIdle(maxIdle)
    {
    }
    /// Work that has not begun is dropped, work that has is waited for.
    ~FairQueue();
    FairQueue(const FairQueue&) = delete;
    FairQueue& operator=(const FairQueue&) = delete;

    /// Raises std::system_error where no thread can be had for it.
    void add(const std::string& client, Work work) MV_EXCLUDES(m_lock);

    std::size_t threads() const MV_EXCLUDES(m_lock);
    /// Pieces that run or wait.
    std::size_t pieces() const MV_EXCLUDES(m_lock);

private:
    struct Lane {
        std::deque<Work> waiting;
        std::size_t running = 0;
    };
    using Lanes = std::map<std::string, Lane>;

    void run() MV_EXCLUDES(m_lock);
    bool awaitWork() MV_REQUIRES(m_lock);
    /// The client whose turn it is; empty where none may begin now.
    Lanes::iterator next() MV_REQUIRES(m_lock);
    Work take(Lanes::iterator lane) MV_REQUIRES(m_lock);
    void finish(const std::string& client) MV_REQUIRES(m_lock);
    void callThread() MV_REQUIRES(m_lock);

    const std::size_t m_cores;
    const Clock::duration m_maxIdle;
    mutable Mutex m_lock;
    std::condition_variable_any m_changed;
    Lanes m_lanes MV_GUARDED_BY(m_lock);
    std::string m_lastClient MV_GUARDED_BY(m_lock); // whose turn it was
    std::size_t m_running MV_GUARDED_BY(m_lock) = 0;
    std::size_t m_idle MV_GUARDED_BY(m_lock) = 0;
    std::size_t m_threads MV_GUARDED_BY(m_lock) = 0;
    bool m_ends MV_GUARDED_BY(m_lock) = false;
};

} // namespace mv
