#include "cli/OrderedWork.h"
#include "cli/ProgressDisplay.h"

#include <atomic>
#include <chrono>
#include <gmock/gmock.h>
#include <thread>

namespace mv::cli {
namespace {

TEST(OrderedWork, ResultsComeInOrderFromEveryWorker)
{
    constexpr std::size_t Count = 1000;
    std::atomic<int> workers = 0;
    std::vector<std::string> outputs;
    runInOrder(
        Count, 4,
        [&] {
            ++workers;
            return [](std::size_t item) {
                if (item % 7 == 0)
                    std::this_thread::yield();
                return WorkResult { std::to_string(item), "" };
            };
        },
        [&](std::size_t item, const WorkResult& result) {
            EXPECT_EQ(item, outputs.size());
            outputs.push_back(result.output);
        });
    EXPECT_EQ(workers, 4);
    ASSERT_EQ(outputs.size(), Count);
    for (std::size_t i = 0; i < Count; ++i)
        EXPECT_EQ(outputs[i], std::to_string(i));
}

TEST(OrderedWork, StartsNoMoreWorkersThanItems)
{
    std::atomic<int> workers = 0;
    int emitted = 0;
    auto make = [&] {
        ++workers;
        return [](std::size_t) { return WorkResult {}; };
    };
    runInOrder(2, 4, make, [&](std::size_t, const WorkResult&) { ++emitted; });
    EXPECT_EQ(workers, 2);
    EXPECT_EQ(emitted, 2);
    runInOrder(0, 4, make, [&](std::size_t, const WorkResult&) { ++emitted; });
    EXPECT_EQ(emitted, 2);
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
