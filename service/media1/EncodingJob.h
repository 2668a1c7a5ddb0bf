#pragma once

#include "service/include/EncodingWish.h"
#include "service/include/MediaErrors.h"
#include "system/Mutex.h"

#include <chrono>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>

namespace mv {

class WorkerHost;

/// A file that is to be made out of another one.
struct EncodingOrder {
    std::string source; ///< path
    std::string destination; ///< path
    EncodingWish wish {}; ///< with 0 cores for as many as are free when its turn has come
    bool replaces = false; ///< what is at the destination
};

/// A sentence of the kind about an order, which names its files without their folders.
MediaError encodingError(MediaErrorKind kind, const EncodingOrder& order);

enum class EncodingState { Running, Done, Failed, Cancelled };

/// One encoding, from the order to its end. Waits for its turn, runs in a worker of its own, and has an end that stays.
/// Safe on several threads at once.
class EncodingJob {
public:
    using Clock = std::chrono::steady_clock;
    /// Progress is told at most so often, first so long after the beginning: with the end, which is told at once, that
    /// is at most ten times in any second.
    static constexpr std::chrono::milliseconds Pace { 120 };

    struct Status {
        EncodingState state = EncodingState::Running;
        double progress = 0; ///< 0 to 1
        std::optional<MediaError> error; ///< where it failed or was cancelled
    };

    explicit EncodingJob(EncodingOrder order)
        : m_order(std::move(order))
    {
    }
    EncodingJob(const EncodingJob&) = delete;
    EncodingJob& operator=(const EncodingJob&) = delete;

    const EncodingOrder& order() const { return m_order; }
    Status status() const MV_EXCLUDES(m_lock);
    /// Whoever hears of changes, on the job's thread, or on the one that cancels it before it has begun. Set before it
    /// is run; dropped when it has ended.
    void setListener(std::function<void()> listener) MV_EXCLUDES(m_lock);

    /// Ends it soon, where it has not ended: its worker is killed, and nothing is at the destination that was not
    /// there.
    void cancel() MV_EXCLUDES(m_lock);

    /// Does it, on the calling thread, once; nothing where it was cancelled before. `freeCores` (not 0) are used where
    /// the order names none. Raises nothing.
    void run(WorkerHost& workers, unsigned freeCores) MV_EXCLUDES(m_lock);

private:
    class Progress;

    bool begin() MV_EXCLUDES(m_lock);
    std::optional<MediaError> outcomeOf(WorkerHost& workers, unsigned freeCores);
    void report(double progress) MV_EXCLUDES(m_lock);
    void end(std::optional<MediaError> problem) MV_EXCLUDES(m_lock);
    void setEnd(std::optional<MediaError> problem) MV_REQUIRES(m_lock);

    const EncodingOrder m_order;
    std::stop_source m_stop;
    mutable Mutex m_lock;
    Status m_status MV_GUARDED_BY(m_lock);
    bool m_hasBegun MV_GUARDED_BY(m_lock) = false;
    std::function<void()> m_listener MV_GUARDED_BY(m_lock);
    Clock::time_point m_lastTold MV_GUARDED_BY(m_lock) {};
};

} // namespace mv
