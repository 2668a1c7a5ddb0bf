#pragma once

#include "process/Channel.h"
#include "process/ChildProgram.h"
#include "service/job/WorkerWords.h"

#include <memory>
#include <string>

namespace mv {

/// A closed process that waits for jobs, as the host has it. Killed and waited for when it is destroyed. One thread at
/// a time.
class WorkerProcess {
public:
    /// A cold disk and a busy machine included; who waits for a worker waits at most so long.
    static constexpr std::chrono::seconds BirthPatience { 10 };

    /// Starts the program and waits until it says that it is closed; State where it cannot close itself (the reason is
    /// unknown: it has no log), is of another version, or is not there in time (then with ETIMEDOUT).
    static Result<std::unique_ptr<WorkerProcess>> start(
        const std::string& program, WorkerKind kind, Channel::Clock::duration patience = BirthPatience);

    /// Where the next call runs: a short one on the processor of this thread, which waits for it, so that nobody has to
    /// wake another (in a virtual machine that takes longer than reading a file); any other one where there is room.
    /// After a call that took long the next one, of a song with a cover as well, is not expected to be short, and none
    /// of a media worker is: the threads that FFmpeg starts would stay on that one processor.
    void placeCall(bool mayBeShort);
    /// Lets the next call have so much processor time. Says so to the system only when calls may have used up a part of
    /// it that anybody would notice: that takes as long as reading a file.
    void allowProcessorTime(std::chrono::seconds time);
    /// A call took so long, by the clock.
    void callTook(std::chrono::steady_clock::duration time)
    {
        m_lastCall = time;
        m_usedSinceAllowed += time;
    }

    WorkerKind kind() const { return m_kind; }
    Channel& channel() { return m_channel; }
    ChildProgram& program() { return m_program; }

private:
    static constexpr int AnyProcessor = -1;

    WorkerProcess(WorkerKind kind, Channel channel, ChildProgram program)
        : m_kind(kind)
        , m_channel(std::move(channel))
        , m_program(std::move(program))
    {
    }
    Result<void> awaitReady(Channel::Clock::duration patience);

    WorkerKind m_kind;
    Channel m_channel;
    ChildProgram m_program;
    int m_processor = AnyProcessor;
    std::chrono::seconds m_allowed {};
    std::chrono::steady_clock::duration m_usedSinceAllowed {};
    std::chrono::steady_clock::duration m_lastCall {};
};

/// Where the worker's program lies, seen from the running one: beside it in a build tree, in a folder of programs that
/// nobody calls once installed.
std::string installedWorkerProgram();

} // namespace mv
