#include "application/LaunchServices.h"

#include "system/RunningPrograms.h"
#include "tests/support/Eventually.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <vector>

namespace mv {
namespace {

/// A script that writes its process facts to `report`, whole, by a rename.
std::string reportingScript(const std::string& report)
{
    return "#!/bin/sh\n{ ps -o sid= -p $$; ps -o ppid= -p $$; ls /proc/$$/fd | wc -l; readlink /proc/$$/fd/1; } > '"
        + report + ".new'\nmv '" + report + ".new' '" + report + "'\n";
}

std::string waitForReport(const std::string& path)
{
    test::eventually([&] { return std::filesystem::exists(path); });
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void makeExecutable(const std::string& path) { std::filesystem::permissions(path, std::filesystem::perms::owner_all); }

std::int32_t launch(const std::string& path)
{
    LSApplicationParameters parameters;
    EXPECT_EQ(FSPathMakeRef(OpenedFile::at(path), parameters.application), 0);
    return LSOpenApplication(parameters);
}

TEST(LaunchServices, StartsAnExecutableFileDetached)
{
    test::ScratchFolder folder;
    std::string report = folder.file("report");
    std::string app = folder.write("Reporter.app", reportingScript(report));
    makeExecutable(app);
    ASSERT_EQ(launch(app), 0);
    std::istringstream text(waitForReport(report));
    long session = 0;
    long parent = 0;
    text >> session >> parent;
    EXPECT_NE(session, getsid(0)) << "a session of its own";
    EXPECT_NE(parent, getpid()) << "not a child of this process";
}

TEST(LaunchServices, StartsTheExecutableInAFolder)
{
    for (std::string inside : { "Reporter", "Contents/MacOS/Reporter" }) {
        test::ScratchFolder folder;
        std::string report = folder.file("report");
        makeExecutable(folder.write("Reporter.app/" + inside, reportingScript(report)));
        ASSERT_EQ(launch(folder.file("Reporter.app")), 0) << inside;
        EXPECT_FALSE(waitForReport(report).empty()) << inside;
    }
}

/// A script that notes each start in `report` and runs on until `stop` is there.
std::string runningScript(const std::string& firstLine, const std::string& report, const std::string& stop)
{
    return firstLine + "\necho started >> '" + report + "'\nwhile [ ! -e '" + stop + "' ]; do sleep 0.01; done\n";
}

std::size_t linesIn(const std::string& path)
{
    std::ifstream in(path);
    return static_cast<std::size_t>(std::count(std::istreambuf_iterator<char>(in), {}, '\n'));
}

/// An application that runs until the end of the scope.
class RunningApplication {
public:
    explicit RunningApplication(const std::string& firstLine)
    {
        app = m_folder.write("Long name of a reporter.app", runningScript(firstLine, report, m_stop));
        makeExecutable(app);
    }
    ~RunningApplication()
    {
        m_folder.write("stop", "");
        EXPECT_TRUE(test::eventually([&] { return !isProgramRunning(app); }));
    }
    bool waitForStart() const
    {
        return test::eventually([&] { return linesIn(report) > 0; });
    }

private:
    test::ScratchFolder m_folder;
    std::string m_stop = m_folder.file("stop");

public:
    std::string report = m_folder.file("report");
    std::string app;
};

TEST(LaunchServices, AnApplicationThatRunsIsNotStartedAgain)
{
    for (const char* firstLine : { "#!/bin/sh", "#!/usr/bin/env sh" }) {
        RunningApplication running(firstLine);
        EXPECT_FALSE(isProgramRunning(running.app));
        ASSERT_EQ(launch(running.app), 0);
        ASSERT_TRUE(running.waitForStart());
        EXPECT_TRUE(isProgramRunning(running.app)) << firstLine;
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(launch(running.app), 0);
        EXPECT_EQ(linesIn(running.report), 1u) << firstLine;
    }
}

TEST(LaunchServices, ABinaryThatRunsIsFoundAndOneOfAnotherSessionIsNot)
{
    test::ScratchFolder folder;
    std::string app = folder.copy("/bin/sleep", "Reporter.app");
    makeExecutable(app);
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/somewhere/else", 1);
    pid_t child = fork();
    if (child == 0) {
        execl(app.c_str(), app.c_str(), "100", nullptr);
        _exit(127);
    }
    EXPECT_TRUE(test::eventually([&] { return isProgramRunning(app); }));
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
    EXPECT_FALSE(isProgramRunning(app));
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/somewhere/else", 1);
    kill(child, SIGKILL);
    siginfo_t ended;
    waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT);
    EXPECT_FALSE(isProgramRunning(app)) << "it only waits for its parent";
    waitpid(child, nullptr, 0);
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

TEST(LaunchServices, TwoCallersAtATimeStartOne)
{
    RunningApplication running("#!/bin/sh");
    std::vector<std::thread> callers;
    for (int i = 0; i < 8; ++i)
        callers.emplace_back([&] { EXPECT_EQ(launch(running.app), 0); });
    for (std::thread& caller : callers)
        caller.join();
    ASSERT_TRUE(running.waitForStart());
    std::this_thread::sleep_for(std::chrono::milliseconds(50)); // for one too many
    EXPECT_EQ(linesIn(running.report), 1u);
}

TEST(LaunchServices, NothingExecutableIsAnError)
{
    test::ScratchFolder folder;
    folder.write("Empty.app/readme", "nothing to run");
    EXPECT_NE(launch(folder.file("Empty.app")), 0);
    EXPECT_NE(launch(folder.write("Plain.app", "no mode bits")), 0);
    std::string broken = folder.write("Broken.app", "#!/no/such/interpreter\n");
    makeExecutable(broken);
    EXPECT_NE(launch(broken), 0);
    FSRef reference;
    EXPECT_EQ(FSPathMakeRef(OpenedFile::at(folder.file("none")), reference), fnfErr);
    EXPECT_EQ(FSPathMakeRef(OpenedFile(), reference), paramErr);
}

} // namespace
} // namespace mv
