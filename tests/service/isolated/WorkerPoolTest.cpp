#include "service/isolated/WorkerPool.h"
#include "tests/support/Instrumented.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Places.h"

#include <gtest/gtest.h>
#include <set>

// Which worker a call gets: the real program, looked at by its process.

namespace mv {
namespace {

class WorkerPoolTest : public testing::Test {
protected:
    void SetUp() override { MV_NEEDS_CLOSED_PROCESSES(); }

    static pid_t idOf(const WorkerPool::Loan& loan) { return loan.worker->program().processId(); }
    WorkerPool::Loan reading(const std::string& client) { return *pool.forReading(WorkerKind::Light, client); }
    /// A call that ends well; whose worker did it.
    pid_t call(const std::string& client)
    {
        WorkerPool::Loan loan = reading(client);
        pid_t id = idOf(loan);
        pool.giveBack(std::move(loan));
        return id;
    }

    test::LogCapture log;
    WorkerPool pool { test::buildPath("bin/mivo-worker") };
};

TEST_F(WorkerPoolTest, AClientsCallsGoToOneWorker)
{
    pid_t first = call("a");
    EXPECT_EQ(call("a"), first);
    EXPECT_EQ(call("a"), first);
}

TEST_F(WorkerPoolTest, ClientsShareNone)
{
    pid_t first = call("a");
    pid_t second = call("b");
    EXPECT_NE(first, second);
    EXPECT_EQ(call("a"), first);
    EXPECT_EQ(call("b"), second);
}

TEST_F(WorkerPoolTest, CallsAtOnceHaveAWorkerEach)
{
    WorkerPool::Loan first = reading("a");
    WorkerPool::Loan second = reading("a");
    EXPECT_NE(idOf(first), idOf(second));
}

TEST_F(WorkerPoolTest, WhatWritesGetsOneThatHasSeenNoFile)
{
    std::set<pid_t> used { call("a"), call("b") };
    for (int i = 0; i < 3; ++i) {
        WorkerPool::Loan loan = *pool.fresh(WorkerKind::Light);
        EXPECT_EQ(loan.calls, 0);
        EXPECT_TRUE(used.insert(idOf(loan)).second);
    }
}

TEST_F(WorkerPoolTest, IsReplacedAfterSoManyCalls)
{
    pid_t first = call("a");
    for (int i = 1; i < WorkerPool::MaxCalls; ++i)
        ASSERT_EQ(call("a"), first) << i;
    EXPECT_NE(call("a"), first);
}

TEST_F(WorkerPoolTest, WhatIsNotGivenBackIsNotUsedAgain)
{
    pid_t first = idOf(reading("a"));
    EXPECT_NE(call("a"), first);
}

TEST_F(WorkerPoolTest, OneThatHasEndedMeanwhileIsNotLent)
{
    WorkerPool::Loan loan = reading("a");
    pid_t first = idOf(loan);
    loan.worker->program().kill();
    loan.worker->program().wait();
    pool.giveBack(std::move(loan));
    EXPECT_NE(call("a"), first);
}

TEST_F(WorkerPoolTest, KindsAreNotMixed)
{
    pid_t light = call("a");
    WorkerPool::Loan media = *pool.forReading(WorkerKind::Media, "a");
    EXPECT_NE(idOf(media), light);
    EXPECT_EQ(media.worker->kind(), WorkerKind::Media);
}

TEST_F(WorkerPoolTest, AProgramThatIsNotThereIsAnError)
{
    WorkerPool none { "/nowhere/mivo-worker" };
    EXPECT_FALSE(none.forReading(WorkerKind::Light, "a"));
    EXPECT_FALSE(none.fresh(WorkerKind::Media));
}

// It starts, and says nothing that a worker says.
TEST_F(WorkerPoolTest, AnotherProgramIsAnError)
{
    WorkerPool other { "/bin/true" };
    EXPECT_FALSE(other.forReading(WorkerKind::Light, "a"));
}

} // namespace
} // namespace mv
