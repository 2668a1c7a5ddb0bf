#pragma once

#include "service/isolated/PoisonList.h"
#include "service/isolated/WorkerProcess.h"
#include "service/job/Messages.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace mv {

/// How a worker came to its end in the middle of a job.
struct WorkerDeath {
    std::string reason; ///< for the log
    std::optional<PoisonList::Death> blame; ///< nothing where it was not the file's doing
};

/// The host's side of one job's conversation: keeps the lines of the log until it is known whether they count, and
/// finds out how a worker ended.
class JobTalk {
public:
    explicit JobTalk(WorkerProcess& worker)
        : m_worker(worker)
    {
    }

    Result<void> send(Message kind, ByteView payload, std::span<const int> descriptors, Channel::Clock::time_point end);
    /// The next message that is no line of the log. A worker that has closed its end is an error here.
    Result<Frame> awaitFrame(Channel::Clock::time_point end);
    /// The same for a job that may take as long as it likes while it works: each time when it has not said so for so
    /// long it is asked whether it does.
    Result<Frame> awaitFrame(std::chrono::seconds patience, const std::function<bool()>& stillWorks);
    /// Writes the lines of the worker that have come.
    void writeLog();
    /// Kills the worker, whose conversation failed so. A file is blamed for silence only if its worker had time.
    WorkerDeath endOf(const Error& failure, Channel::Clock::time_point now = Channel::Clock::now());

private:
    Result<std::optional<Frame>> nextFrame(Channel::Clock::time_point end);
    void keepLine(const Frame& frame);
    void noteSign(Channel::Clock::time_point now);

    WorkerProcess& m_worker;
    const Channel::Clock::time_point m_begin = Channel::Clock::now();
    std::vector<std::string> m_lines;
    std::size_t m_written = 0; ///< of the lines
    std::size_t m_dropped = 0;
    bool m_saidDropped = false;
    std::optional<Channel::Clock::time_point> m_firstSign; ///< that the job goes on
    bool m_goesOn = false; ///< what came last was no more than the word that it does
};

} // namespace mv
