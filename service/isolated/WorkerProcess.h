#pragma once

#include "process/Channel.h"
#include "process/ChildProgram.h"
#include "process/StayingHere.h"
#include "service/job/WorkerWords.h"

#include <memory>
#include <optional>
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

    /// Several times what reading tags takes, and less than any picture.
    static constexpr std::chrono::microseconds ShortCall { 300 };
    /// What a song with a large cover takes.
    static constexpr std::chrono::microseconds CoverCall { 5000 };

    /// Where the next call runs: if the last one took less than `brief`, on the processor of this thread, which waits
    /// for it, so that nobody has to wake another (in a virtual machine that takes longer than reading a file); any
    /// other one where there is room, and each of a media worker: the threads that FFmpeg starts would stay on that one
    /// processor. Behind a call that was brief but not short this thread stays there, too, as long as what is returned
    /// lives: of a picture it is woken by the first piece, and would wait for the others on a processor that is cold.
    [[nodiscard]] std::optional<StayingHere> placeCall(std::chrono::microseconds brief);
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
    void runOn(int processor);

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
