#pragma once

#include "service/isolated/WorkerProcess.h"
#include "system/Mutex.h"

#include <condition_variable>
#include <optional>
#include <thread>
#include <vector>

namespace mv {

/// Workers by who uses them. Reading calls of one client go to one worker, as long as that is young and has not read
/// much; it is never another client's. A job that writes gets a worker that has seen no file. Once keepSpares() was
/// called one waits, so that hardly anybody waits for a birth: a light one always, a media one for a while after media
/// work. Without work nothing runs here: the thread that keeps house sleeps until a worker is taken.
///
/// Safe on several threads at once.
class WorkerPool {
public:
    using Clock = std::chrono::steady_clock;

    // What a worker that was taken over by one file can still see is at most the rest of these calls of one client.
    // Fewer would be felt: a birth takes as long as some fifty calls.
    static constexpr int MaxCalls = 1024;
    static constexpr std::chrono::seconds MaxAge { 60 };
    static constexpr std::chrono::seconds MaxIdle { 10 };

    explicit WorkerPool(std::string program, Clock::duration birthPatience = WorkerProcess::BirthPatience)
        : m_program(std::move(program))
        , m_birthPatience(birthPatience)
    {
    }
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    /// A worker that somebody holds, and what the pool keeps of it. Not given back it is killed.
    struct Loan {
        std::unique_ptr<WorkerProcess> worker;
        std::string client;
        Clock::time_point born;
        int calls = 0; ///< before this one
    };

    /// A worker for one reading call of the client; an error where none can be started.
    Result<Loan> forReading(WorkerKind kind, const std::string& client) MV_EXCLUDES(m_lock);
    /// A worker that has done nothing yet, for a job after which it is not given back.
    Result<Loan> fresh(WorkerKind kind) MV_EXCLUDES(m_lock);
    /// After a reading call that ended well.
    void giveBack(Loan loan) MV_EXCLUDES(m_lock);

    /// From now on a worker waits for the next call; for who lives longer than a few of them.
    void keepSpares() MV_EXCLUDES(m_lock);

private:
    struct Idle {
        Loan loan;
        Clock::time_point since;
    };
    struct Spare {
        std::unique_ptr<WorkerProcess> worker;
        bool isWanted = false;
        bool isBeingBorn = false;
        int births = 0; // that have ended
        std::optional<Error> failure; // of the last birth; nothing is born for nobody until a call's own birth succeeds
        Clock::time_point lastUse {}; // of the kind
    };

    Spare& spareOf(WorkerKind kind) MV_REQUIRES(m_lock) { return m_spares[kind == WorkerKind::Media]; }
    std::optional<Loan> takeIdle(WorkerKind kind, const std::string& client) MV_REQUIRES(m_lock);
    Result<std::unique_ptr<WorkerProcess>> takeSpare(WorkerKind kind) MV_REQUIRES(m_lock);
    void awaitBirth(const Spare& spare) MV_REQUIRES(m_lock);
    void noteBirth(WorkerKind kind) MV_EXCLUDES(m_lock);
    void wakeHousekeeper() MV_REQUIRES(m_lock);

    void keepHouse() MV_EXCLUDES(m_lock);
    void sleep() MV_REQUIRES(m_lock);
    void retireOld(Clock::time_point now) MV_REQUIRES(m_lock);
    std::optional<WorkerKind> missingSpare() MV_REQUIRES(m_lock);
    Clock::time_point nextRetirement() MV_REQUIRES(m_lock);
    void bearSpare(WorkerKind kind) MV_EXCLUDES(m_lock);

    const std::string m_program;
    const Clock::duration m_birthPatience;
    Mutex m_lock;
    std::condition_variable_any m_changed;
    std::vector<Idle> m_idle MV_GUARDED_BY(m_lock);
    std::vector<std::unique_ptr<WorkerProcess>> m_retired MV_GUARDED_BY(m_lock);
    Spare m_spares[2] MV_GUARDED_BY(m_lock);
    bool m_keepsSpares MV_GUARDED_BY(m_lock) = false;
    bool m_ends MV_GUARDED_BY(m_lock) = false;
    bool m_hasNews MV_GUARDED_BY(m_lock) = false;
    bool m_sleepsForGood MV_GUARDED_BY(m_lock) = false;
    std::thread m_housekeeper; // started under the lock
};

} // namespace mv
