#include "service/isolated/WorkerHost.h"

#include "tests/support/FaultyPrograms.h"
#include "tests/support/Instrumented.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Places.h"

#include <gmock/gmock.h>

namespace mv {
namespace {

using testing::HasSubstr;

class WorkerHostTest : public testing::Test {
protected:
    void SetUp() override { MV_NEEDS_CLOSED_PROCESSES(); }

    static ReadingJob thumbnail(float side)
    {
        return { .operation = ReadingOperation::Thumbnail,
            .file = OpenedFile::at(test::sourcePath("tests/data/tags/red.jpg")),
            .maximum = { side, side } };
    }
    /// Why workers with such a fault are not to be had.
    static std::string whyNone(std::string_view fault)
    {
        test::FaultyPrograms programs(fault);
        WorkerHost host(programs.worker());
        try {
            host.read(thumbnail(32));
        } catch (const WorkersUnavailable& none) {
            return none.what();
        }
        return "none";
    }

    test::LogCapture log;
};

TEST_F(WorkerHostTest, AnAnswerThatIsTooLargeIsALimitAndCostsNoWorker)
{
    WorkerHost host(test::buildPath("bin/mivo-worker"));
    EXPECT_TRUE(host.read(thumbnail(2800)));
    EXPECT_THROW(host.read(thumbnail(3000)), std::length_error);
    auto loan = host.pool().forReading(WorkerKind::Light, {});
    ASSERT_TRUE(loan.ok());
    EXPECT_EQ(loan->calls, 2);
}

TEST_F(WorkerHostTest, AWorkerThatIsNotClosedGetsNoFile)
{
    EXPECT_THAT(whyNone("filter"), HasSubstr("could not close itself: the filter of system calls"));
}

TEST_F(WorkerHostTest, AWorkerOfAnotherVersionGetsNoFile)
{
    EXPECT_THAT(whyNone("version"), HasSubstr("of another version"));
}

} // namespace
} // namespace mv
