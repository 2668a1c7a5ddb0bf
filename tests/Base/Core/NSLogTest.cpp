#include "Base/Core/NSLog.h"

#include "tests/support/Scratch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>
#include <thread>
#include <unistd.h>

namespace mv {
namespace {

/// What a function writes to standard error, by lines.
template <class Function> std::vector<std::string> errorLines(Function function)
{
    test::ScratchFolder folder;
    std::string path = folder.file("log");
    int saved = dup(STDERR_FILENO);
    int file = open(path.c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600);
    dup2(file, STDERR_FILENO);
    function();
    dup2(saved, STDERR_FILENO);
    close(saved);
    close(file);
    Bytes content = test::readFile(path);
    std::istringstream in { std::string(charsOf(content)) };
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

TEST(NSLog, LineHasDateTimeProcessAndThread)
{
    auto lines = errorLines([] { NSLog("failed to launch %s", "/x/y"); });
    ASSERT_EQ(lines.size(), 1u);
    std::regex form(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} test_Base_Core\[\d+:\d+\] failed to launch /x/y)");
    EXPECT_TRUE(std::regex_match(lines[0], form)) << lines[0];
}

TEST(NSLog, AMessageCannotForgeALine)
{
    auto lines = errorLines([] { NSLog("path %s\n", "a\nb\rc\x1b[31m"); });
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].ends_with("path a\\nb\\rc\\x1b[31m")) << lines[0];
}

TEST(NSLog, LinesThatMatterLessThanTheLimitAreLeftOut)
{
    auto lines = errorLines([] {
        NSLogAt(LogPriority::Debug, "a");
        setLogLimit(LogPriority::Warning);
        NSLogAt(LogPriority::Error, "b");
        NSLogAt(LogPriority::Warning, "c");
        NSLog("d");
        setLogLimit(LogPriority::Debug);
        NSLogAt(LogPriority::Debug, "%s", "e");
    });
    std::string last;
    for (const std::string& line : lines)
        last += line.back();
    EXPECT_EQ(last, "abce");
}

TEST(NSLog, PrioritiesHaveNames)
{
    EXPECT_EQ(logPriorityNamed("error"), LogPriority::Error);
    EXPECT_EQ(logPriorityNamed("debug"), LogPriority::Debug);
    EXPECT_EQ(logPriorityNamed("3"), std::nullopt);
    EXPECT_EQ(logPriorityNamed(""), std::nullopt);
}

TEST(NSLog, ThreadsWriteWholeLines)
{
    constexpr int Threads = 8;
    constexpr int LinesEach = 200;
    auto lines = errorLines([] {
        std::vector<std::thread> threads;
        for (int t = 0; t < Threads; ++t) {
            threads.emplace_back([t] {
                for (int i = 0; i < LinesEach; ++i)
                    NSLog("<%s>", std::string(100, static_cast<char>('a' + t)).c_str());
            });
        }
        for (auto& thread : threads)
            thread.join();
    });
    ASSERT_EQ(lines.size(), static_cast<std::size_t>(Threads * LinesEach));
    std::regex form(R"(.* <(.)\1{99}>)");
    for (const std::string& line : lines)
        ASSERT_TRUE(std::regex_match(line, form)) << line;
}

} // namespace
} // namespace mv
