#pragma once

#include <functional>

namespace mv {

/// Threads by the platform's names.
class NSThread {
public:
    /// Blocks the calling thread.
    static void sleepForTimeInterval(double seconds);
    /// Starts a thread that nobody waits for; it ends with the function. An exception that leaves the function is
    /// logged and goes no further.
    static void detachNewThread(std::function<void()> body);
};

} // namespace mv
