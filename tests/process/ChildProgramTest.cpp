#include "process/ChildProgram.h"

#include "process/Channel.h"
#include "tests/support/Eventually.h"
#include "tests/support/Scratch.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <optional>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace mv {
namespace {

struct Started {
    ChildProgram program;
    UniqueFd socket;

    /// What the program writes until its end of the socket is closed.
    std::string output() const
    {
        std::string text;
        char buffer[4096];
        for (ssize_t got; (got = recv(socket.get(), buffer, sizeof buffer, 0)) > 0;)
            text.append(buffer, static_cast<std::size_t>(got));
        return text;
    }
};

/// A shell that runs the script with the socket as its descriptor 3.
Started shell(const std::string& script)
{
    auto ends = Channel::makeEnds();
    auto program = ChildProgram::start({ "/bin/sh", "-c", script }, std::move(ends->second));
    EXPECT_TRUE(program.ok());
    return { std::move(*program), std::move(ends->first) };
}

TEST(ChildProgram, HasNothingButItsSocket)
{
    setenv("MIVO_SECRET", "1", 1);
    UniqueFd stray(dup(STDOUT_FILENO)); // one that is not closed by itself where a program starts
    Started started = shell("for fd in 0 1 2; do name=$(readlink /proc/$$/fd/$fd); echo $name >&3; done; "
                            "tr '\\0' '\\n' < /proc/$$/environ | grep -c MIVO >&3; exec ls /proc/self/fd >&3");
    // The last is the folder that is being listed.
    EXPECT_EQ(started.output(), "/dev/null\n/dev/null\n/dev/null\n0\n0\n1\n2\n3\n4\n");
    EXPECT_EQ(started.program.wait().signal, 0);
    unsetenv("MIVO_SECRET");
}

TEST(ChildProgram, ItsSocketIsItsAlone)
{
    Started started = shell("exit 3");
    EXPECT_EQ(started.output(), ""); // ends, as nobody else holds the other end
    EXPECT_EQ(started.program.wait().exitStatus, 3);
    EXPECT_EQ(started.program.end()->exitStatus, 3);
}

TEST(ChildProgram, SignalsAreAsAProgramExpectsThem)
{
    auto before = std::signal(SIGPIPE, SIG_IGN);
    sigset_t blocked;
    sigset_t old;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, &old);
    Started started = shell("kill -TERM $$; sleep 5; exit 1");
    EXPECT_EQ(started.program.wait().signal, SIGTERM);
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    std::signal(SIGPIPE, before);
}

TEST(ChildProgram, AnInterruptionFromTheTerminalIsNotForIt)
{
    Started started = shell("read line; exit 3");
    EXPECT_EQ(getpgid(started.program.processId()), started.program.processId());
    EXPECT_NE(getpgid(0), started.program.processId());
}

TEST(ChildProgram, ItsEndIsKnownWhereEndsWereIgnored)
{
    auto before = std::signal(SIGCHLD, SIG_IGN);
    Started started = shell("exit 3");
    EXPECT_EQ(started.program.wait().exitStatus, 3);
    std::signal(SIGCHLD, before);
}

TEST(ChildProgram, RunsUntilItIsKilled)
{
    Started started = shell("sleep 60 & wait");
    EXPECT_FALSE(started.program.end());
    started.program.kill();
    EXPECT_EQ(started.program.wait().signal, SIGKILL);
    EXPECT_EQ(started.program.end()->signal, SIGKILL);
}

TEST(ChildProgram, IsKilledAndWaitedForWithItsOwner)
{
    pid_t process = 0;
    {
        Started started = shell("exec sleep 60");
        process = started.program.processId();
        EXPECT_EQ(::kill(process, 0), 0);
    }
    EXPECT_EQ(::kill(process, 0), -1);
    EXPECT_EQ(errno, ESRCH);
}

// The system means the thread that a program was started by.
TEST(ChildProgram, OneThatEndsWithItsParentOutlivesTheThreadThatStartedIt)
{
    std::optional<Started> started;
    std::thread([&] {
        started = shell("exec setpriv --pdeathsig KILL /bin/sh -c 'echo x >&3; read line <&3; exit 5'");
    }).join();
    char word[2] {};
    EXPECT_EQ(recv(started->socket.get(), word, sizeof word, MSG_WAITALL), 2);
    EXPECT_EQ(send(started->socket.get(), "\n", 1, 0), 1);
    EXPECT_EQ(started->program.wait().exitStatus, 5);
}

TEST(ChildProgram, TimeIsLimitedFromWhereItIs)
{
    Started started = shell("while :; do :; done");
    ASSERT_TRUE(started.program.limitCpuTime(std::chrono::seconds(1)));
    EXPECT_EQ(started.program.wait().signal, SIGXCPU);
    EXPECT_EQ(started.program.cpuTime().count(), 0);
    EXPECT_FALSE(started.program.limitCpuTime(std::chrono::seconds(1)));
}

TEST(ChildProgram, WhatItMayWriteIsAllowedLater)
{
    test::ScratchFolder folder;
    std::string path = folder.file("out");
    // A write beyond the limit ends a program, unless it ignores that.
    Started started = shell("exec 2>/dev/null; ulimit -S -f 0; trap '' XFSZ; (echo 12345 >" + path
        + ") || echo no >&3; read line <&3; echo 12345 >" + path + " && echo yes >&3");
    char word[3] {};
    EXPECT_EQ(recv(started.socket.get(), word, sizeof word, MSG_WAITALL), 3);
    EXPECT_EQ(std::string(word, 3), "no\n");
    ASSERT_TRUE(started.program.limitFileBytes(1000));
    EXPECT_EQ(send(started.socket.get(), "\n", 1, 0), 1);
    EXPECT_EQ(started.output(), "yes\n");
    EXPECT_EQ(test::readFile(path).size(), 6u);
    started.program.wait();
    EXPECT_FALSE(started.program.limitFileBytes(1));
}

TEST(ChildProgram, AMissingProgramIsAnError)
{
    auto ends = Channel::makeEnds();
    auto program = ChildProgram::start({ "/no/such/program" }, std::move(ends->second));
    ASSERT_FALSE(program.ok());
    EXPECT_EQ(program.error().kind, Error::Kind::NotFound);
}

TEST(ChildProgram, TheSocketMayHaveAnyNumber)
{
    auto ends = Channel::makeEnds();
    UniqueFd input(dup(STDIN_FILENO));
    ASSERT_EQ(dup2(ends->second.get(), STDIN_FILENO), STDIN_FILENO);
    ends->second.reset();
    auto program = ChildProgram::start({ "/bin/sh", "-c", "echo here >&3" }, UniqueFd(STDIN_FILENO));
    if (input)
        dup2(input.get(), STDIN_FILENO);
    ASSERT_TRUE(program.ok());
    Started started { std::move(*program), std::move(ends->first) };
    EXPECT_EQ(started.output(), "here\n");
}

} // namespace
} // namespace mv
