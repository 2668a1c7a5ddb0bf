#pragma once

#include "system/Mutex.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

namespace mv {

/// What an application does of its own; both are called on the main thread.
class NSApplicationDelegate {
public:
    virtual ~NSApplicationDelegate() = default;
    virtual void applicationDidFinishLaunching() = 0;
};

/// The application: the main run loop, and an orderly way out of it.
class NSApplication {
public:
    /// The one of this process.
    static NSApplication& sharedApplication();

    NSApplication();
    ~NSApplication();
    NSApplication(const NSApplication&) = delete;
    NSApplication& operator=(const NSApplication&) = delete;

    /// Tells the delegate that launching is finished, then runs posted work and watched descriptors until
    /// terminate() was called; a terminate() from inside applicationDidFinishLaunching ends it right after.
    /// Call it on the main thread. Returns the exit status 0.
    int run(NSApplicationDelegate& delegate);

    /// Asks the run loop to end after the work in hand. Any thread; async-signal-safe.
    void terminate();
    bool terminateAsked() const { return m_terminateAsked; }

    /// Runs `work` on the main thread, in order of posting. Any thread.
    void post(std::function<void()> work) MV_EXCLUDES(m_lock);
    /// Calls `ready` on the main thread whenever `fd` can be read. Main thread only; the descriptor stays the
    /// caller's and must be unwatched before it is closed.
    void watch(int fd, std::function<void()> ready);
    void unwatch(int fd);
    /// Calls `call` on the main thread at that time, and not what was to be called at another before. Main thread only.
    void callAt(std::chrono::steady_clock::time_point time, std::function<void()> call);

private:
    struct Watch {
        int fd;
        std::function<void()> ready;
    };

    void runPosted() MV_EXCLUDES(m_lock);
    int millisecondsToCall() const;
    void callWhatIsDue();
    void wake();

    Mutex m_lock;
    std::deque<std::function<void()>> m_posted MV_GUARDED_BY(m_lock);
    std::vector<Watch> m_watches; // main thread only
    std::chrono::steady_clock::time_point m_callTime; // main thread only, as the next
    std::function<void()> m_call;
    std::atomic<bool> m_terminateAsked = false;
    int m_wakeFd;
};

/// The process's main routine: SIGTERM and SIGINT ask the shared application to terminate; runs it with the
/// delegate and returns the exit status.
int NSApplicationMain(NSApplicationDelegate& delegate);

} // namespace mv
