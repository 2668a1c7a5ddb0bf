#include "service/isolated/WaitBudget.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace std::chrono_literals;

TEST(WaitBudget, WaitsShareIt)
{
    WaitBudget budget(22s);
    const WaitBudget::Clock::time_point begin {};
    EXPECT_EQ(budget.endFrom(begin), begin + 22s);
    budget.spend(begin, begin + 20s);
    // Ten minutes of copying later there is as much left as before.
    EXPECT_EQ(budget.endFrom(begin + 10min), begin + 10min + 2s);
    budget.spend(begin + 10min, begin + 10min + 1s);
    EXPECT_EQ(budget.endFrom(begin + 20min), begin + 20min + 1s);
}

TEST(WaitBudget, IsUsedUpForGood)
{
    WaitBudget budget(22s);
    const WaitBudget::Clock::time_point begin {};
    budget.spend(begin, begin + 23s);
    EXPECT_EQ(budget.endFrom(begin + 1h), begin + 1h);
}

} // namespace
} // namespace mv
