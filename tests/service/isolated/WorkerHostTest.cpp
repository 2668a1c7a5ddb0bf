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

TEST_F(WorkerHostTest, AnEndIsTheFilesFaultOrNobodys)
{
    struct Row {
        Error::Kind failure;
        std::optional<PoisonList::Death> blame;
    };
    for (Row row : { Row { Error::Kind::State, PoisonList::Death::Deadline },
             Row { Error::Kind::Format, PoisonList::Death::Crash },
             Row { Error::Kind::Limit, PoisonList::Death::Crash }, Row { Error::Kind::Unsupported, std::nullopt } }) {
        auto worker = WorkerProcess::start(test::buildPath("bin/mivo-worker"), WorkerKind::Light);
        ASSERT_TRUE(worker.ok());
        WorkerDeath death = JobTalk(**worker).endOf({ row.failure, "so it was" });
        EXPECT_EQ(death.blame, row.blame) << static_cast<int>(row.failure);
        EXPECT_TRUE((*worker)->program().end());
    }
}

// Nothing was sent, so no worker did anything.
TEST_F(WorkerHostTest, AnInputThatIsNoFileIsNotTheFilesFault)
{
    auto ends = std::move(*Channel::makeEnds());
    Channel channel(std::move(ends.first));
    OpenedFile file(Path("/a.mp3"), Error { Error::Kind::NotFound, "none" }, sourceOfBytes({ 1, 2, 3 }));
    WritingBroker broker(channel, { .operation = WritingOperation::UpdateTag, .file = file }, {}, {});
    EXPECT_EQ(broker.start().error().kind, Error::Kind::Unsupported);
}

// As after an upgrade that has moved it.
TEST_F(WorkerHostTest, AProgramThatIsGoneIsNamed)
{
    WorkerHost host("/nowhere/mivo-worker");
    try {
        host.read(thumbnail(32));
        FAIL();
    } catch (const WorkersUnavailable& none) {
        EXPECT_STREQ(none.what(),
            "nothing can be read, as no worker can be had: cannot start /nowhere/mivo-worker: No such file or "
            "directory");
    }
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
