#include "service/isolated/WorkerPool.h"
#include "tests/service/isolated/ScriptedWorker.h"
#include "tests/support/Eventually.h"
#include "tests/support/Instrumented.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Places.h"

#include <atomic>
#include <gtest/gtest.h>
#include <set>
#include <thread>
#include <unistd.h>

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

/// Whether that thread of this process waits for something.
bool isAsleep(pid_t thread)
{
    return test::outputOf(
               "cut -d' ' -f3 /proc/" + std::to_string(getpid()) + "/task/" + std::to_string(thread) + "/stat")
        == "S\n";
}

// A tool that shows one picture does not wait at its end for a worker that nobody asked for.
TEST_F(WorkerPoolTest, NobodyWaitsWhereNobodySaidSo)
{
    test::ScriptedWorker script(test::ScriptedWorker::End::Serves);
    {
        WorkerPool tool { script.program() };
        EXPECT_TRUE(tool.forReading(WorkerKind::Media, {}));
    }
    EXPECT_EQ(script.births(), "media\n");
}

TEST_F(WorkerPoolTest, BehindTheFirstOfAKindOneWaits)
{
    test::ScriptedWorker script(test::ScriptedWorker::End::Serves);
    WorkerPool service { script.program() };
    service.keepSpares();
    EXPECT_TRUE(test::eventually([&] { return script.births() == "light\n"; }));
    EXPECT_TRUE(service.forReading(WorkerKind::Media, {}));
    EXPECT_TRUE(test::eventually([&] { return script.births() == "light\nmedia\nmedia\n"; })) << script.births();
}

/// One that waits for the birth of a spare, until the end of the scope.
class WaitingCall {
public:
    explicit WaitingCall(WorkerPool& pool)
        : m_thread([this, &pool] {
            m_id = gettid();
            m_isServed = pool.forReading(WorkerKind::Light, "a").ok();
        })
    {
        EXPECT_TRUE(test::eventually([&] { return m_id != 0 && isAsleep(m_id); }));
    }
    bool isServed()
    {
        m_thread.join();
        return m_isServed;
    }

private:
    std::atomic<pid_t> m_id = 0;
    bool m_isServed = false;
    std::thread m_thread;
};

// The bus gives a call up after 25 seconds: there is no time for two births that take ten each.
TEST_F(WorkerPoolTest, WhoHasWaitedInVainBeginsNoOtherBirth)
{
    test::ScriptedWorker script(test::ScriptedWorker::End::Waits);
    WorkerPool service { script.program(), std::chrono::seconds(3) };
    service.keepSpares();
    ASSERT_TRUE(test::eventually([&] { return !script.births().empty(); }));
    EXPECT_FALSE(WaitingCall(service).isServed());
    EXPECT_EQ(script.births(), "light\n");
    // The next call tries again, and nobody else does.
    EXPECT_FALSE(service.forReading(WorkerKind::Light, "a"));
    EXPECT_EQ(script.births(), "light\nlight\n");
}

// As one that the system had no memory for.
TEST_F(WorkerPoolTest, ABirthThatFailsAtOnceIsTriedAgain)
{
    test::ScriptedWorker script(test::ScriptedWorker::End::Fails);
    WorkerPool service { script.program() };
    service.keepSpares();
    ASSERT_TRUE(test::eventually([&] { return !script.births().empty(); }));
    WaitingCall call(service);
    script.letFail();
    EXPECT_FALSE(call.isServed());
    EXPECT_EQ(script.births(), "light\nlight\n");
}

} // namespace
} // namespace mv
