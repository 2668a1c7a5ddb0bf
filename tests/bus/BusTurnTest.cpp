#include "bus/BusTurn.h"

#include "tests/support/Eventually.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace mv {
namespace {

TEST(BusTurn, IsOnesUntilItIsGiven)
{
    BusTurn turn;
    turn.take();
    EXPECT_FALSE(turn.takeWithin(std::chrono::milliseconds(1)));
    turn.give();
    EXPECT_TRUE(turn.takeWithin(std::chrono::milliseconds(1)));
    turn.give();
    turn.take();
    turn.give();
}

TEST(BusTurn, AnotherComesBeforeWhoServesHoweverBusy)
{
    BusTurn turn;
    std::atomic<bool> wasOthers = false;
    turn.take();
    std::jthread other([&] {
        wasOthers = turn.takeWithin(test::Patience);
        turn.give();
    });
    // Never waits and never does anything else.
    auto start = std::chrono::steady_clock::now();
    while (!wasOthers && std::chrono::steady_clock::now() - start < test::Patience)
        turn.letOthersPass();
    EXPECT_TRUE(wasOthers);
    turn.give();
}

TEST(BusTurn, IsServedAgainWhenAnotherHasGivenUp)
{
    BusTurn turn;
    turn.take();
    std::atomic<bool> gaveUp = false;
    std::jthread other([&] { gaveUp = !turn.takeWithin(std::chrono::milliseconds(1)); });
    other.join();
    EXPECT_TRUE(gaveUp);
    turn.letOthersPass();
    turn.give();
    turn.take();
    turn.give();
}

} // namespace
} // namespace mv
