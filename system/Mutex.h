#pragma once

#include <condition_variable>
#include <mutex>

#if defined(__clang__)
#define MV_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define MV_THREAD_ATTRIBUTE(x)
#endif

#define MV_CAPABILITY(x) MV_THREAD_ATTRIBUTE(capability(x))
#define MV_SCOPED_CAPABILITY MV_THREAD_ATTRIBUTE(scoped_lockable)
#define MV_GUARDED_BY(x) MV_THREAD_ATTRIBUTE(guarded_by(x))
#define MV_REQUIRES(...) MV_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define MV_ACQUIRE(...) MV_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define MV_RELEASE(...) MV_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define MV_EXCLUDES(...) MV_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))

namespace mv {

/// std::mutex with the annotations that clang's thread-safety check reads.
class MV_CAPABILITY("mutex") Mutex {
public:
    void lock() MV_ACQUIRE() { m_mutex.lock(); }
    void unlock() MV_RELEASE() { m_mutex.unlock(); }

private:
    std::mutex m_mutex;
};

/// Holds a Mutex for a scope. `wait` on a condition with std::condition_variable_any takes the Mutex itself.
class MV_SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) MV_ACQUIRE(mutex)
        : m_mutex(mutex)
    {
        m_mutex.lock();
    }
    ~MutexLock() MV_RELEASE() { m_mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& m_mutex;
};

} // namespace mv
