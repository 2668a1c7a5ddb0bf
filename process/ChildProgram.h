#pragma once

#include "Base/Core/Handle.h"
#include "Base/Core/Result.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <sched.h>
#include <string>
#include <sys/types.h>
#include <vector>

namespace mv {

/// How a program ended.
struct ProgramEnd {
    int exitStatus = -1; ///< -1 where a signal ended it
    int signal = 0;
};

/// A program that was started with nothing of this process but one socket: no environment, /dev/null as standard
/// input, output and error, no other descriptor, no blocked or ignored signals, and none from the terminal. Its end is
/// waited for, at the latest by the destructor, which kills it before: no zombie is left. Its parent is a thread that
/// lives as long as this process, whoever starts it: one that asks the system for its parent's end has that of the
/// process.
class ChildProgram {
public:
    /// Where the program finds its socket.
    static constexpr int SocketDescriptor = 3;

    /// `words` are the program's arguments, its own path first. The socket is the program's alone afterwards.
    static Result<ChildProgram> start(const std::vector<std::string>& words, UniqueFd socket);

    ChildProgram(ChildProgram&& other) noexcept;
    ChildProgram& operator=(ChildProgram&& other) noexcept;
    ~ChildProgram();

    pid_t processId() const { return m_processId; }
    void kill() const;
    /// Nothing while it runs.
    std::optional<ProgramEnd> end();
    /// Blocks until it has ended.
    ProgramEnd wait();
    /// The processor's time that it has used; zero when that cannot be had any more.
    std::chrono::milliseconds cpuTime() const;
    /// Lets its first thread run on these processors alone, and those threads that this one starts from now on; others
    /// that it has stay where they may run.
    Result<void> runOn(const cpu_set_t& processors) const;
    /// Ends it by SIGXCPU when it has used so much more than it has by now.
    Result<void> limitCpuTime(std::chrono::seconds more) const;
    /// Lets it write files up to that length from now on, whatever it was born with.
    Result<void> limitFileBytes(std::uint64_t length) const;

private:
    explicit ChildProgram(pid_t processId)
        : m_processId(processId)
    {
    }
    ProgramEnd remember(int status);
    Result<void> setLimit(int resource, std::uint64_t value) const;

    pid_t m_processId = -1; // -1 after a move
    std::optional<ProgramEnd> m_end;
};

} // namespace mv
