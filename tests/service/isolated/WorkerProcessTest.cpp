#include "service/isolated/WorkerProcess.h"

#include "tests/support/Instrumented.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Places.h"

#include <gtest/gtest.h>
#include <sched.h>

// Where a call runs.

namespace mv {
namespace {

using namespace std::chrono_literals;

cpu_set_t processorsOf(pid_t thread)
{
    cpu_set_t processors;
    CPU_ZERO(&processors);
    EXPECT_EQ(sched_getaffinity(thread, sizeof processors, &processors), 0);
    return processors;
}

class PlacingCalls : public testing::Test {
protected:
    void SetUp() override
    {
        MV_NEEDS_CLOSED_PROCESSES();
        if (CPU_COUNT(&m_all) < 2)
            GTEST_SKIP() << "there is one processor";
    }
    static std::unique_ptr<WorkerProcess> start(WorkerKind kind)
    {
        return std::move(*WorkerProcess::start(test::buildPath("bin/mivo-worker"), kind));
    }
    void expectAnywhere(WorkerProcess& worker) const
    {
        cpu_set_t processors = processorsOf(worker.program().processId());
        EXPECT_TRUE(CPU_EQUAL(&processors, &m_all));
    }
    static void expectHere(WorkerProcess& worker, const StayingHere& stay)
    {
        cpu_set_t processors = processorsOf(worker.program().processId());
        EXPECT_TRUE(CPU_EQUAL(&processors, &stay.here()));
    }

    test::LogCapture log;
    cpu_set_t m_all = processorsOf(0);
};

TEST_F(PlacingCalls, AShortOneRunsWhereItsCallerWaits)
{
    auto worker = start(WorkerKind::Light);
    {
        StayingHere stay;
        EXPECT_FALSE(worker->placeCall(WorkerProcess::ShortCall));
        expectHere(*worker, stay);
    }
    EXPECT_FALSE(worker->placeCall(0us));
    expectAnywhere(*worker);
}

TEST_F(PlacingCalls, BehindALongOneTheNextIsNotExpectedToBeShort)
{
    auto worker = start(WorkerKind::Light);
    worker->callTook(1ms);
    EXPECT_FALSE(worker->placeCall(WorkerProcess::ShortCall));
    expectAnywhere(*worker);
    worker->callTook(10us);
    StayingHere stay;
    EXPECT_FALSE(worker->placeCall(WorkerProcess::ShortCall));
    expectHere(*worker, stay);
}

TEST_F(PlacingCalls, BehindOneWithACoverTheCallerStaysBesideTheNext)
{
    auto worker = start(WorkerKind::Light);
    worker->callTook(1ms);
    {
        auto stay = worker->placeCall(WorkerProcess::CoverCall);
        ASSERT_TRUE(stay);
        expectHere(*worker, *stay);
        cpu_set_t own = processorsOf(0);
        EXPECT_TRUE(CPU_EQUAL(&own, &stay->here()));
    }
    cpu_set_t own = processorsOf(0);
    EXPECT_TRUE(CPU_EQUAL(&own, &m_all));
    worker->callTook(10ms);
    EXPECT_FALSE(worker->placeCall(WorkerProcess::CoverCall));
    expectAnywhere(*worker);
}

// Threads that FFmpeg starts would stay on the one processor.
TEST_F(PlacingCalls, MediaWorkersRunAnywhere)
{
    auto worker = start(WorkerKind::Media);
    EXPECT_FALSE(worker->placeCall(WorkerProcess::CoverCall));
    expectAnywhere(*worker);
}

} // namespace
} // namespace mv
