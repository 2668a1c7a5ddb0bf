#include "platform/MainThread.h"

#include "Base/Core/NSException.h"

#include <gtest/gtest.h>
#include <thread>

namespace mv {
namespace {

TEST(MainThread, WithoutAnExecutorWorkRunsAtOnce)
{
    std::thread::id where;
    MainThread::perform([&] { where = std::this_thread::get_id(); });
    EXPECT_EQ(where, std::this_thread::get_id());
    EXPECT_THROW(MainThread::perform([] { throw NSException("Name", "reason"); }), NSException);
}

TEST(MainThread, AnExecutorStandsInForTheLoop)
{
    int hops = 0;
    MainThread::setExecutor([&](const std::function<void()>& work) {
        ++hops;
        work();
    });
    bool ran = false;
    MainThread::perform([&] { ran = true; });
    MainThread::setExecutor({});
    EXPECT_TRUE(ran);
    EXPECT_EQ(hops, 1);
    MainThread::perform([] {});
    EXPECT_EQ(hops, 1);
}

} // namespace
} // namespace mv
