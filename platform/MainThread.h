#pragma once

#include <functional>

namespace mv {

/// Work that has to happen where movies are worked with: performSelectorOnMainThread:withObject:waitUntilDone:, which
/// here always waits.
class MainThread {
public:
    /// Runs `work` by the executor, or at once on the calling thread where there is none: the program of a process that
    /// does one job after the other needs none. Returns when it has run; an exception that it raised goes to the
    /// caller.
    static void perform(const std::function<void()>& work);

    /// Every piece of work goes to the executor, which runs it on whatever thread before it returns, and hands on what
    /// it raised. An empty function undoes it.
    using Executor = std::function<void(const std::function<void()>& work)>;
    static void setExecutor(Executor executor);
};

} // namespace mv
