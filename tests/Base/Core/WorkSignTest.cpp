#include "Base/Core/WorkSign.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

TEST(WorkSign, IsHeardOnceInAPeriod)
{
    int heard = 0;
    setWorkSignSink([&] { ++heard; }, std::chrono::hours { 1 });
    for (int i = 0; i < 10; ++i)
        showThatWorkGoesOn();
    EXPECT_EQ(heard, 0) << "the first period is not over";
    setWorkSignSink([&] { ++heard; }, {});
    for (int i = 0; i < 10; ++i)
        showThatWorkGoesOn();
    EXPECT_EQ(heard, 10);
    setWorkSignSink({});
    showThatWorkGoesOn();
    EXPECT_EQ(heard, 10);
}

} // namespace
} // namespace mv
