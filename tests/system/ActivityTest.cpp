#include "system/Activity.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace mv {
namespace {

using Kind = Activity::Kind;

TEST(Activity, IsIdleWithoutHoldsSinceTheLastOneEnded)
{
    Activity activity;
    auto start = activity.idleSince();
    ASSERT_TRUE(start);
    auto first = activity.begin(Kind::Work);
    auto second = activity.begin(Kind::Client);
    EXPECT_FALSE(activity.idleSince());
    first.reset();
    EXPECT_FALSE(activity.idleSince());
    second.reset();
    ASSERT_TRUE(activity.idleSince());
    EXPECT_GE(*activity.idleSince(), *start);
}

TEST(Activity, ACopyOfAHoldIsTheSameHold)
{
    Activity activity;
    auto hold = activity.begin(Kind::Work);
    auto copy = hold;
    hold.reset();
    EXPECT_TRUE(activity.isWorking());
    copy.reset();
    EXPECT_FALSE(activity.isWorking());
}

TEST(Activity, WhatIsKeptForClientsIsNoWork)
{
    Activity activity;
    auto client = activity.begin(Kind::Client);
    EXPECT_FALSE(activity.isWorking());
    activity.awaitWork();
    EXPECT_FALSE(activity.idleSince());
}

TEST(Activity, SaysOnceThatItIsIdle)
{
    Activity activity;
    int calls = 0;
    activity.whenIdle([&] { ++calls; });
    EXPECT_EQ(calls, 1);
    auto hold = activity.begin(Kind::Work);
    activity.whenIdle([&] { ++calls; });
    EXPECT_EQ(calls, 1);
    hold.reset();
    EXPECT_EQ(calls, 2);
    activity.begin(Kind::Work).reset();
    EXPECT_EQ(calls, 2);
}

TEST(Activity, WaitsForWorkOfOtherThreads)
{
    Activity activity;
    std::atomic<bool> done = false;
    std::jthread worker([&, hold = activity.begin(Kind::Work)]() mutable {
        done = true;
        hold.reset();
    });
    activity.awaitWork();
    EXPECT_TRUE(done);
}

} // namespace
} // namespace mv
