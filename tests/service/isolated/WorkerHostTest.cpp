#include "service/isolated/WorkerHost.h"

#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "tests/pictures/PngMaker.h"
#include "tests/service/isolated/NotingDelegates.h"
#include "tests/service/isolated/ScriptedWorker.h"
#include "tests/support/FaultyPrograms.h"
#include "tests/support/Instrumented.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Mp4Maker.h"
#include "tests/support/WaveMaker.h"

#include <gmock/gmock.h>

namespace mv {
namespace {

using namespace std::chrono_literals;
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
        std::chrono::seconds after { 0 };
    };
    for (Row row : { Row { Error::Kind::State, PoisonList::Death::Deadline, 20s }, Row { Error::Kind::State, {}, 2s },
             Row { Error::Kind::Format, PoisonList::Death::Crash },
             Row { Error::Kind::Limit, PoisonList::Death::Crash }, Row { Error::Kind::Unsupported, std::nullopt } }) {
        auto worker = WorkerProcess::start(test::buildPath("bin/mivo-worker"), WorkerKind::Light);
        ASSERT_TRUE(worker.ok());
        JobTalk talk(**worker);
        WorkerDeath death = talk.endOf({ row.failure, "so it was" }, Channel::Clock::now() + row.after);
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

/// The kinds of worker that it takes to encode it, for both interfaces.
std::string workersFor(const std::string& source, SoundFormat format)
{
    test::ScriptedWorker script(test::ScriptedWorker::End::Serves);
    test::ScratchFolder folder;
    WorkerHost host(script.program());
    auto place = OutputPlace::at(folder.file("out"));
    test::NotingListener listener;
    test::NotingDelegate delegate;
    for (auto operation : { WritingOperation::EncodeMp3, WritingOperation::EncodeSound }) {
        WritingJob job { .operation = operation, .file = OpenedFile::at(source), .encoding = { .format = format } };
        if (operation == WritingOperation::EncodeSound || format == SoundFormat::Mp3)
            host.write(std::move(job), { .place = place.get(), .listener = &listener, .delegate = &delegate });
    }
    return script.births();
}

// Loading FFmpeg takes as long as encoding some seconds of sound.
TEST_F(WorkerHostTest, PcmIsMadeAnMp3WithoutFfmpeg)
{
    test::ScratchFolder folder;
    std::string wave = folder.write("in.wav", test::WaveMaker().format(1, 2, 44100, 16).sound(400'000).bytes());
    EXPECT_EQ(workersFor(wave, SoundFormat::Mp3), "light\nlight\n");
    EXPECT_EQ(workersFor(wave, SoundFormat::Aac), "media\n");
    std::string flac = folder.file("in.flac");
    test::outputOf("ffmpeg -v error -i " + wave + " " + flac);
    if (!std::filesystem::exists(flac))
        GTEST_SKIP() << "there is no ffmpeg";
    EXPECT_EQ(workersFor(flac, SoundFormat::Mp3), "light\nmedia\nlight\nmedia\n");
}

/// The kinds of worker that it takes to update a title and a cover; the title is then in the file.
std::string workersForCover(const Bytes& cover)
{
    test::ScriptedWorker script(test::ScriptedWorker::End::Serves);
    test::ScratchFolder folder;
    std::string song = folder.write("a.m4a", test::makeMp4({}).bytes);
    WorkerHost host(script.program());
    auto file = EditableFile::at(song);
    WritingAnswer answer
        = host.write({ .operation = WritingOperation::UpdateTag,
                         .file = OpenedFile::at(song),
                         .record = { { MediaDBCommonColumnMediaType, MVMediaTypeM4A },
                             { MediaDBMusicColumnTitle, "New" }, { MediaDBMusicColumnAlbumArt, cover } } },
            { .file = file.get() });
    EXPECT_EQ(answer, WritingAnswer(true));
    EXPECT_THAT(std::string(charsOf(test::readFile(song))), HasSubstr("New"));
    return script.births();
}

// The library of such a picture is one that a light worker does not have.
TEST_F(WorkerHostTest, ACoverOfAnotherLibraryIsReadByWhoHasIt)
{
    EXPECT_EQ(workersForCover({ 0, 0, 0, 16, 'f', 't', 'y', 'p', 'h', 'e', 'i', 'c', 0, 0, 0, 0 }), "light\nmedia\n");
}

TEST_F(WorkerHostTest, ACoverThatTakesAllMemoryCostsNoTitle)
{
    auto sample = [](int, int, int) { return 0; };
    EXPECT_EQ(workersForCover(
                  test::makePng({ .width = 11'000, .height = 11'000, .depth = 1, .colorType = 0, .sample = sample })),
        "light\n");
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
