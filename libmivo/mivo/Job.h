#pragma once

#include <mivo/Client.h>
#include <mivo/Error.h>
#include <mivo/Export.h>

#include <chrono>
#include <functional>
#include <memory>

namespace mivo {

class JobContent;

/// A file that the service encodes. What it says is as of the last time that its MediaClient dispatched or waited;
/// nothing asks the service. Belongs to the client's thread. To be moved, not copied; dropping one that runs cancels
/// it.
class MIVO_API Job {
public:
    enum class State {
        Running, ///< or waiting for its turn
        Done,
        Failed,
        Cancelled,
    };

    /// None: has failed.
    Job() noexcept;
    Job(Job&& other) noexcept;
    Job& operator=(Job&& other) noexcept;
    ~Job();

    State state() const noexcept;
    bool hasEnded() const noexcept { return state() != State::Running; }
    /// 0 to 1, never less than before; 1 when it is done, and not sooner.
    double progress() const noexcept;
    /// Why it failed or was cancelled; else null. Valid as long as this object.
    const Error* error() const noexcept;

    /// Called after changes, at most ten times a second, the last of which is the end; on the thread that dispatches or
    /// waits. It may drop the job. Not called for an end that came before this.
    void onChange(std::function<void()> changed);
    /// Asks the service to end it, and does not wait: the end is told like any other. A job that is done already stays
    /// so.
    void cancel();
    /// Waits for its end; throws Error where it failed.
    JobEnd wait();
    /// Waits no longer than that; false where it runs then.
    bool waitFor(std::chrono::milliseconds longest);

private:
    friend class JobContent;
    MIVO_INTERNAL explicit Job(std::shared_ptr<JobContent> content) noexcept;

    std::shared_ptr<JobContent> m_content;
};

} // namespace mivo
