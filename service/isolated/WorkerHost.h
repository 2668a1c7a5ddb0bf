#pragma once

#include "service/isolated/JobTalk.h"
#include "service/isolated/PoisonList.h"
#include "service/isolated/WaitBudget.h"
#include "service/isolated/WorkerPool.h"
#include "service/isolated/WritingBroker.h"
#include "service/job/ReadingJob.h"

#include <functional>
#include <stdexcept>

namespace mv {

/// No worker is to be had, so nothing is read.
class WorkersUnavailable final : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Has jobs done by workers, and answers for them whatever they do: nobody else talks to one. Safe on several threads
/// at once.
class WorkerHost {
public:
    /// Of a reading call: of a worker's processor time, and of the clock. The bus gives a call up after 25 seconds.
    static constexpr std::chrono::seconds ReadingProcessorTime { 15 };
    static constexpr std::chrono::seconds ReadingPatience { 22 };

    /// A writing job is given up when for so long neither a message came nor what it makes grew. The time that a
    /// client's delegate takes does not count.
    static constexpr std::chrono::seconds WritingPatience { 60 };

    /// The client whose call this thread does; empty where it has none.
    using Caller = std::function<std::string()>;

    explicit WorkerHost(std::string program, Caller caller = {})
        : m_pool(std::move(program))
        , m_caller(std::move(caller))
    {
    }

    /// What the job gives, checked, with the host's own columns. Nothing where the worker ended over it, or did not
    /// long ago; the log says why. Raises what the job raised, WorkersUnavailable, and std::length_error for an answer
    /// that is larger than a message.
    std::optional<ReadingAnswer> read(ReadingJob job);

    /// Has the job done by a worker of its own, which asks for each step: see WritingBroker, and its answerOfDeath for
    /// what a worker's end gives. Raises what the job raised, and WorkersUnavailable, when nothing was done.
    WritingAnswer write(WritingJob job, const WritingParts& parts);

    WorkerPool& pool() { return m_pool; }

private:
    struct NeedsMedia { };
    using Outcome = std::variant<ReadingAnswer, NeedsMedia, WorkerDeath>;

    std::optional<ReadingAnswer> readNew(const ReadingJob& job, const FileDeed& deed);
    Outcome readOn(WorkerKind kind, const ReadingJob& job, Channel::Clock::time_point end, bool byNewWorker = false);
    std::optional<WritingAnswer> writeOn(
        WorkerKind kind, WritingJob job, const WritingParts& parts, const FileDeed& deed, WaitBudget& budget);
    bool isPoison(const FileDeed& deed, const Path& path) const;
    void remember(const FileDeed& deed, const Path& path, const WorkerDeath& death);

    WorkerPool m_pool;
    PoisonList m_poison;
    Caller m_caller;
};

} // namespace mv
