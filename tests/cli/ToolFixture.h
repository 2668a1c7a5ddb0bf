#pragma once

#include "tests/support/Eventually.h"
#include "tests/support/Places.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Scratch.h"
#include "tests/support/WaveMaker.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace mv::cli {

inline const std::string kTool = test::buildPath("bin/mivo");

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

/// The tool as people start it, with the real service.
class ToolTest : public testing::Test {
protected:
    /// Runs the tool with a shell's words.
    Outcome tool(const std::string& words, const std::string& before = {})
    {
        std::string command = before + " " + test::shellQuoted(kTool) + " " + words + " >"
            + test::shellQuoted(m_logs.file("out")) + " 2>" + test::shellQuoted(m_logs.file("err"));
        int status = std::system(command.c_str());
        return { WEXITSTATUS(status), text("out"), text("err") };
    }
    std::string text(const std::string& name)
    {
        Bytes bytes = test::readFile(m_logs.file(name));
        return { bytes.begin(), bytes.end() };
    }
    /// The tool with words of its own, for tests that talk to it while it runs: its standard output is the pipe's.
    struct Running {
        pid_t process = -1;
        int in = -1;
        int out = -1;
    };
    Running startTool(const std::vector<std::string>& words)
    {
        int in[2];
        int out[2];
        EXPECT_EQ(pipe2(in, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        std::string err = m_logs.write("err", std::string_view());
        std::vector<char*> arguments { const_cast<char*>(kTool.c_str()) };
        for (const std::string& word : words)
            arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        pid_t child = fork();
        if (child == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
            execv(kTool.c_str(), arguments.data());
            _exit(99);
        }
        close(in[0]);
        close(out[1]);
        return { child, in[1], out[0] };
    }
    static int waitFor(pid_t process)
    {
        int status = 0;
        waitpid(process, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    /// A file of that name made by ffmpeg, quoted for the shell.
    std::string made(const std::string& name, const std::string& arguments)
    {
        std::string path = m_folder.file(name);
        EXPECT_EQ(test::run("ffmpeg -nostdin -loglevel error -y " + arguments + " " + test::shellQuoted(path)), 0);
        return test::shellQuoted(path);
    }
    std::string picture(const std::string& name) { return made(name, "-f lavfi -i testsrc=size=64x48 -frames:v 1"); }
    std::string tone(const std::string& name, int seconds = 2)
    {
        return made(name, "-f lavfi -i sine=frequency=440:duration=" + std::to_string(seconds) + " -ac 2 -ar 44100");
    }

    /// Three hours of silence that take no room.
    std::string longWave()
    {
        constexpr std::size_t Size = 2'000'000'000;
        test::WaveMaker wave;
        wave.format(1, 2, 44100, 16).chunk("data", {}, Size);
        std::string path = m_folder.write("long.wav", wave.bytes());
        std::filesystem::resize_file(path, wave.bytes().size() + Size);
        return path;
    }
    /// The tool at work on a job that does not end before its test does, with its standard error in "err".
    pid_t startedLongEncoding()
    {
        std::string input = longWave();
        m_logs.write("err", std::string_view());
        std::string err = m_logs.file("err");
        std::string output = m_folder.file("long.mp3");
        pid_t child = fork();
        if (child == 0) {
            if (freopen(err.c_str(), "w", stderr))
                execl(kTool.c_str(), kTool.c_str(), "encode", "--quality", "best", input.c_str(), output.c_str(),
                    nullptr);
            _exit(99);
        }
        EXPECT_TRUE(test::eventually([&] { return text("err").find("started") != std::string::npos; }));
        return child;
    }
    /// A process that ended and that nobody has waited for is not alive.
    static bool isAlive(pid_t process)
    {
        std::ifstream file("/proc/" + std::to_string(process) + "/stat");
        std::string line;
        return std::getline(file, line) && line.find(") Z") == std::string::npos;
    }

    test::ScratchFolder m_folder;
    test::ScratchFolder m_logs;
};

/// With a bus; the service is started by the first command and quits at the end.
class ToolOnBus : public ToolTest {
protected:
    ~ToolOnBus() override { tool("quit"); }
    test::PrivateBus m_bus;
};

/// Without one.
class ToolWithoutBus : public ToolTest {
protected:
    ToolWithoutBus()
    {
        unsetenv("DBUS_SESSION_BUS_ADDRESS");
        setenv("XDG_RUNTIME_DIR", m_logs.path().c_str(), 1);
    }
    ~ToolWithoutBus() override
    {
        if (m_runtimeFolder)
            setenv("XDG_RUNTIME_DIR", m_runtimeFolder->c_str(), 1);
        else
            unsetenv("XDG_RUNTIME_DIR");
    }

private:
    static std::optional<std::string> runtimeFolder()
    {
        const char* folder = std::getenv("XDG_RUNTIME_DIR");
        return folder ? std::optional<std::string>(folder) : std::nullopt;
    }
    std::optional<std::string> m_runtimeFolder = runtimeFolder();
};

} // namespace mv::cli
