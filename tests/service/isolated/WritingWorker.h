#pragma once

#include "process/ChildProgram.h"
#include "service/isolated/WritingBroker.h"
#include "service/job/WorkerWords.h"

#include <string>
#include <thread>
#include <vector>

namespace mv::test {

/// Where the worker's side of a job runs.
enum class WorkerSide {
    Thread, ///< of this process, with nothing closed
    Closed, ///< the real program
    Trapping, ///< the same, but a system call that its filter does not know ends it
};

/// A worker for one writing job, and the loop that its host runs.
class WritingWorker {
public:
    WritingWorker(WorkerSide side, WorkerKind kind);
    ~WritingWorker();
    WritingWorker(const WritingWorker&) = delete;
    WritingWorker& operator=(const WritingWorker&) = delete;

    /// Does the job. A worker that dies or is not honest fails the test.
    WritingAnswer run(const WritingJob& job, WritingParts parts);
    /// What the worker has written into the log.
    const std::vector<std::string>& lines() const { return m_lines; }

private:
    WritingWorker(WorkerSide side, WorkerKind kind, std::pair<UniqueFd, UniqueFd> ends);
    void serve();
    Result<Frame> awaitFrame();

    Channel m_channel;
    Channel m_far; // of a thread
    std::thread m_thread;
    std::optional<ChildProgram> m_program;
    std::vector<std::string> m_lines;
};

} // namespace mv::test
