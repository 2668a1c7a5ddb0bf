#pragma once

#include <functional>

namespace mv {

/// Work that has to happen on the main thread: performSelectorOnMainThread:withObject:waitUntilDone:.
class MainThread {
public:
    /// Runs `work` on the main thread. With `waitUntilDone` returns when it has run, and hands on an exception that
    /// it raised; on the main thread itself it then runs at once. Without a running main loop waits until one runs.
    static void perform(std::function<void()> work, bool waitUntilDone);

    /// Replaces the main loop: every piece of work goes to the executor, which runs it whenever and wherever it
    /// likes before it returns. For a process that has no main loop, and for tests. An empty function undoes it.
    using Executor = std::function<void(const std::function<void()>& work)>;
    static void setExecutor(Executor executor);
};

} // namespace mv
