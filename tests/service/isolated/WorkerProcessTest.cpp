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

/// This thread on its processor, until the end of the scope.
class StayingHere {
public:
    StayingHere()
        : m_before(processorsOf(0))
    {
        CPU_ZERO(&m_here);
        CPU_SET(sched_getcpu(), &m_here);
        EXPECT_EQ(sched_setaffinity(0, sizeof m_here, &m_here), 0);
    }
    ~StayingHere() { EXPECT_EQ(sched_setaffinity(0, sizeof m_before, &m_before), 0); }
    StayingHere(const StayingHere&) = delete;
    StayingHere& operator=(const StayingHere&) = delete;

    const cpu_set_t& here() const { return m_here; }

private:
    cpu_set_t m_before;
    cpu_set_t m_here;
};

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
        worker->placeCall(true);
        expectHere(*worker, stay);
    }
    worker->placeCall(false);
    expectAnywhere(*worker);
}

TEST_F(PlacingCalls, BehindALongOneTheNextIsNotExpectedToBeShort)
{
    auto worker = start(WorkerKind::Light);
    worker->callTook(1ms);
    worker->placeCall(true);
    expectAnywhere(*worker);
    worker->callTook(10us);
    StayingHere stay;
    worker->placeCall(true);
    expectHere(*worker, stay);
}

// Threads that FFmpeg starts would stay on the one processor.
TEST_F(PlacingCalls, MediaWorkersRunAnywhere)
{
    auto worker = start(WorkerKind::Media);
    worker->placeCall(true);
    expectAnywhere(*worker);
}

} // namespace
} // namespace mv
