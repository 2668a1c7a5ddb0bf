#include "cli/NameList.h"
#include "cli/OrderedWork.h"
#include "cli/ProgressDisplay.h"
#include "tests/support/Scratch.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <gmock/gmock.h>
#include <mutex>
#include <thread>

namespace mv::cli {
namespace {

/// Items "0", "1", ... without an end, or up to `count`.
struct Counting {
    std::size_t count;
    std::size_t asked = 0;
    std::optional<std::string> operator()()
    {
        return asked < count ? std::optional(std::to_string(asked++)) : std::nullopt;
    }
};

TEST(OrderedWork, ResultsComeInOrderFromEveryWorker)
{
    constexpr std::size_t Count = 1000;
    std::vector<std::string> outputs;
    OrderedWork work;
    work.next = Counting { Count };
    work.workers = 4;
    work.makeWorker = [] {
        return [](std::size_t index, const std::string& item) {
            EXPECT_EQ(item, std::to_string(index));
            if (index % 7 == 0)
                std::this_thread::yield();
            return WorkResult { item, "" };
        };
    };
    work.emit = [&](std::size_t index, const WorkResult& result) {
        EXPECT_EQ(index, outputs.size());
        outputs.push_back(result.output);
    };
    EXPECT_EQ(work.run(), ExitStatus::Done);
    ASSERT_EQ(outputs.size(), Count);
    for (std::size_t i = 0; i < Count; ++i)
        EXPECT_EQ(outputs[i], std::to_string(i));
}

TEST(OrderedWork, MakesNoMoreWorkersThanItems)
{
    std::atomic<std::size_t> workers = 0;
    std::size_t emitted = 0;
    OrderedWork work;
    work.workers = 4;
    work.makeWorker = [&] {
        ++workers;
        return [](std::size_t, const std::string&) { return WorkResult {}; };
    };
    work.emit = [&](std::size_t, const WorkResult&) { ++emitted; };
    work.next = Counting { 2 };
    work.run();
    EXPECT_LE(workers, 2u);
    EXPECT_EQ(emitted, 2u);
    work.next = Counting { 0 };
    work.run();
    EXPECT_EQ(emitted, 2u);
}

TEST(OrderedWork, TheWorstStatusIsTheRuns)
{
    OrderedWork work;
    work.next = Counting { 3 };
    work.makeWorker = [] {
        return [](std::size_t index, const std::string&) {
            return WorkResult { "", "", index == 1 ? ExitStatus::SomeFailed : ExitStatus::Done };
        };
    };
    work.emit = [](std::size_t, const WorkResult&) {};
    EXPECT_EQ(work.run(), ExitStatus::SomeFailed);
}

TEST(OrderedWork, AResultIsThereBeforeTheNextItemIs)
{
    // The source waits with each item until the one before was handed out.
    std::mutex lock;
    std::condition_variable changed;
    std::size_t emitted = 0;
    std::size_t asked = 0;
    OrderedWork work;
    work.workers = 4;
    work.next = [&]() -> std::optional<std::string> {
        std::unique_lock held(lock);
        changed.wait(held, [&] { return emitted == asked; });
        return asked < 10 ? std::optional(std::to_string(asked++)) : std::nullopt;
    };
    work.makeWorker = [] { return [](std::size_t, const std::string&) { return WorkResult {}; }; };
    work.emit = [&](std::size_t, const WorkResult&) {
        std::lock_guard held(lock);
        ++emitted;
        changed.notify_all();
    };
    work.run();
    EXPECT_EQ(emitted, 10u);
}

class NameListTest : public testing::Test {
protected:
    std::vector<std::string> namesIn(const std::string& path, bool endedByZero)
    {
        std::vector<std::string> names;
        auto list = NameList::open(path, endedByZero);
        EXPECT_TRUE(list.ok());
        for (auto name = list->next(); name && *name; name = list->next())
            names.push_back(**name);
        return names;
    }
    test::ScratchFolder m_folder;
};

TEST_F(NameListTest, AreLinesOrEndWithZeroBytes)
{
    std::string lines = m_folder.write("lines", std::string_view("a\n\nb c\r\nlast"));
    EXPECT_THAT(namesIn(lines, false), testing::ElementsAre("a", "b c\r", "last"));
    std::string zeros = m_folder.write("zeros", std::string_view("a\nb\0\0c\0", 7));
    EXPECT_THAT(namesIn(zeros, true), testing::ElementsAre("a\nb", "c"));
    EXPECT_THAT(namesIn(m_folder.write("empty", std::string_view()), false), testing::IsEmpty());
}

TEST_F(NameListTest, OneThatCannotBeReadSaysSo)
{
    EXPECT_FALSE(NameList::open(m_folder.file("none"), false).ok());
    auto folder = NameList::open(m_folder.path(), false);
    ASSERT_TRUE(folder.ok());
    EXPECT_FALSE(folder->next().ok());
}

TEST_F(NameListTest, NamesOfTheCommandLineComeFirst)
{
    std::vector<NameList> lists;
    for (const char* name : { "b", "c" })
        lists.push_back(*NameList::open(m_folder.write(name, std::string_view(name)), false));
    NameSource source({ "a" }, std::move(lists));
    std::vector<std::string> names;
    while (auto name = source.next())
        names.push_back(*name);
    EXPECT_THAT(names, testing::ElementsAre("a", "b", "c"));
    EXPECT_FALSE(source.failure());
}

class ProgressTest : public testing::Test {
protected:
    ProgressDisplay display(std::vector<ProgressDisplay::Job> jobs, bool onTerminal, int columns = 80)
    {
        return { std::move(jobs), onTerminal, columns, [this](const std::string& text) { m_text += text; },
            [this] { return m_now; } };
    }
    void pass(int seconds) { m_now += std::chrono::seconds(seconds); }

    std::string m_text;
    ProgressDisplay::Clock::time_point m_now;
};

TEST_F(ProgressTest, PlainLinesAtEveryQuarter)
{
    auto shown = display({ { "a.mp3", 100 } }, false);
    shown.start(0);
    for (int percent = 1; percent <= 100; ++percent)
        shown.progress(0, percent);
    shown.finish(0, "done");
    EXPECT_EQ(m_text, "a.mp3: started\na.mp3: 25%\na.mp3: 50%\na.mp3: 75%\na.mp3: done\n");
}

// A job that is soon done tells of few of its steps.
TEST_F(ProgressTest, QuartersThatWereJumpedOverAreToldToo)
{
    auto shown = display({ { "a.mp3", 100 } }, false);
    shown.start(0);
    shown.progress(0, 60);
    shown.progress(0, 100);
    shown.finish(0, "done");
    EXPECT_EQ(m_text, "a.mp3: started\na.mp3: 25%\na.mp3: 50%\na.mp3: 75%\na.mp3: done\n");
}

TEST_F(ProgressTest, ABarWithSpeedAndTimeLeft)
{
    auto shown = display({ { "a.mp3", 200 } }, true);
    shown.start(0);
    EXPECT_EQ(m_text, "\r\033[Ja.mp3                          [------------------]   0%\n");
    pass(10);
    m_text.clear();
    // Half of 200 seconds in 10.
    shown.progress(0, 50);
    EXPECT_EQ(m_text, "\033[1A\r\033[Ja.mp3                          [#########---------]  50%  10.0x  0:10 left\n");
    m_text.clear();
    shown.finish(0, "done");
    EXPECT_EQ(m_text, "\033[1A\r\033[Ja.mp3: done\n");
}

TEST_F(ProgressTest, SeveralJobsHaveALineEach)
{
    auto shown = display({ { "a", 0 }, { "b", 0 } }, true);
    shown.start(0);
    shown.start(1);
    m_text.clear();
    pass(1);
    shown.progress(1, 100);
    EXPECT_THAT(m_text, testing::StartsWith("\033[2A\r\033[Ja "));
    EXPECT_THAT(m_text, testing::HasSubstr("100%  0:00 left\n"));
    m_text.clear();
    shown.finish(0, "failed");
    EXPECT_THAT(m_text, testing::StartsWith("\033[2A\r\033[Ja: failed\nb "));
}

TEST_F(ProgressTest, FitsANarrowTerminalAndKeepsTitlesHarmless)
{
    auto shown = display({ { std::string(60, 'x') + "\033[2J", 0 } }, true, 50);
    shown.start(0);
    std::string line = m_text.substr(m_text.rfind('J') + 1);
    EXPECT_LE(line.size(), 50u);
    EXPECT_EQ(m_text.find("\033[2J"), std::string::npos);
}

} // namespace
} // namespace mv::cli
