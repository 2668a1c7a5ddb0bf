#include "Base/Media/MediaDB.h"
#include "platform/BASS.h"
#include "process/Channel.h"
#include "process/ChildProgram.h"
#include "service/include/MVImageInfoBuilder.h"
#include "service/job/Messages.h"
#include "service/job/WorkerWords.h"
#include "service/worker/ReadingRunner.h"
#include "tests/support/Corpus.h"
#include "tests/support/Instrumented.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Places.h"
#include "tests/support/Scratch.h"

#include <fcntl.h>
#include <gtest/gtest.h>

// Every reading operation on real files: a closed process answers what this one does, and its filter knows every system
// call that it makes.

namespace mv {
namespace {

using namespace std::chrono_literals;

/// A worker of its own, closed and ready. A system call that its filter does not know ends it.
class Worker {
public:
    Worker()
        : Worker(std::move(*Channel::makeEnds()))
    {
    }

    ReadingAnswer answer(const ReadingJob& job, const std::string& path)
    {
        UniqueFd content(job.file.content() ? open(path.c_str(), O_RDONLY | O_CLOEXEC) : -1);
        const int sent[] = { content.get() };
        auto descriptors = content ? std::span(sent) : std::span<const int>();
        if (!m_channel.send(kindOf(Message::ReadingJob), encodeJob(job), descriptors))
            return died(path);
        while (true) {
            auto frame = m_channel.receive(Channel::Clock::now() + 60s);
            if (!frame.ok() || !*frame)
                return died(path);
            if ((*frame)->kind == kindOf(Message::Log))
                continue;
            EXPECT_EQ((*frame)->kind, kindOf(Message::Answer)) << path;
            auto answer = decodeAnswer(job.operation, (*frame)->payload);
            EXPECT_TRUE(answer.ok()) << path;
            return answer.ok() ? std::move(*answer) : ReadingAnswer();
        }
    }

private:
    explicit Worker(std::pair<UniqueFd, UniqueFd> ends)
        : m_channel(std::move(ends.first))
        , m_program(std::move(
              *ChildProgram::start(wordsOf(test::buildPath("tests/trapping_worker"), { .kind = WorkerKind::Media }),
                  std::move(ends.second))))
    {
        auto ready = m_channel.receive(Channel::Clock::now() + 60s);
        if (!ready.ok() || !*ready)
            died("its start");
        else
            EXPECT_EQ((*ready)->kind, kindOf(Message::Ready));
    }
    ReadingAnswer died(const std::string& where)
    {
        m_program.kill();
        ProgramEnd end = m_program.wait();
        ADD_FAILURE() << where << ": exit " << end.exitStatus << ", signal " << end.signal;
        return {};
    }

    Channel m_channel;
    ChildProgram m_program;
};

/// What is of the moment when it was asked.
ReadingAnswer withoutNow(ReadingAnswer answer)
{
    if (auto* record = std::get_if<std::optional<Record>>(&answer); record && *record)
        (*record)->remove(MediaDBMusicColumnDateAdded);
    return answer;
}

class CorpusThroughWorker : public testing::TestWithParam<const char*> {
protected:
    CorpusThroughWorker() { BASS_Init(-1, 44100, 0, nullptr, nullptr); }
    ~CorpusThroughWorker() override { BASS_Free(); }

    test::LogCapture log;
};

TEST_P(CorpusThroughWorker, AnswersAreEqual)
{
    MV_NEEDS_CORPUS();
    MV_NEEDS_CLOSED_PROCESSES();
    Worker worker;
    std::size_t something = 0;
    for (const std::string& name : test::corpusFiles(GetParam())) {
        std::string path = test::corpusFile(name);
        for (int number = 1; number <= static_cast<int>(LastReadingOperation); ++number) {
            ReadingJob job { static_cast<ReadingOperation>(number), OpenedFile::at(path), { 100, 100 } };
            ReadingAnswer here = withoutNow(runReadingJob(job));
            ReadingAnswer there = withoutNow(worker.answer(job, path));
            Bytes bytes = encodeAnswer(here);
            EXPECT_TRUE(encodeAnswer(there) == bytes) << name << ", operation " << number;
            something += bytes.size() > 2;
        }
    }
    EXPECT_GT(something, 0u);
}

// Lengths come from the audio library, which a worker has to prepare before it is closed.
TEST(SoundThroughWorker, HasALength)
{
    MV_NEEDS_CORPUS();
    MV_NEEDS_CLOSED_PROCESSES();
    test::LogCapture log;
    Worker worker;
    std::size_t lengths = 0;
    for (const std::string& name : test::corpusFiles("audio")) {
        std::string path = test::corpusFile(name);
        auto answer = worker.answer({ ReadingOperation::DescribeAudio, OpenedFile::at(path) }, path);
        auto* record = std::get_if<std::optional<Record>>(&answer);
        if (record && *record)
            lengths += (*record)->integer(MediaDBMusicColumnPlayLength).value_or(0) > 0;
    }
    EXPECT_GT(lengths, 0u);
}

/// Media as large as people have them, made for the test.
class LargeThroughWorker : public testing::Test {
protected:
    void SetUp() override { MV_NEEDS_CLOSED_PROCESSES(); }

    /// The worker's answer, with a picture in it, is the one of this process.
    void expectSamePicture(ReadingOperation operation, const std::string& path, std::string_view key)
    {
        Worker worker;
        ReadingJob job { operation, OpenedFile::at(path), { 256, 256 } };
        ReadingAnswer there = withoutNow(worker.answer(job, path));
        auto* record = std::get_if<std::optional<Record>>(&there);
        ASSERT_TRUE(record && *record) << path;
        const Bytes* picture = (*record)->data(key);
        EXPECT_TRUE(picture && !picture->empty()) << path;
        EXPECT_TRUE(encodeAnswer(there) == encodeAnswer(withoutNow(runReadingJob(job)))) << path;
    }

    test::ScratchFolder folder;
    test::LogCapture log;
};

TEST_F(LargeThroughWorker, HeicOf48Megapixels)
{
    if (!test::haveProgram("heif-enc"))
        GTEST_SKIP() << "heif-enc is not installed";
    std::string jpeg = folder.file("large.jpg");
    std::string heic = folder.file("large.heic");
    test::outputOf("ffmpeg -v error -f lavfi -i testsrc2=s=8000x6000 -frames:v 1 " + jpeg);
    test::outputOf("heif-enc -q 30 -p preset=ultrafast -o " + heic + " " + jpeg);
    expectSamePicture(ReadingOperation::Thumbnail, heic, kThumbnailData);
}

TEST_F(LargeThroughWorker, TenBitVideoOf4K)
{
    std::string movie = folder.file("large.mp4");
    test::outputOf("ffmpeg -v error -f lavfi -i testsrc2=s=3840x2160:r=24:d=0.5 -c:v libx265 -preset ultrafast "
                   "-x265-params log-level=none -pix_fmt yuv420p10le -tag:v hvc1 "
        + movie);
    expectSamePicture(ReadingOperation::DescribeMovie, movie, MediaDBVideoColumnImage);
}

std::string nameOf(const testing::TestParamInfo<const char*>& row) { return row.param; }

INSTANTIATE_TEST_SUITE_P(
    Every, CorpusThroughWorker, testing::Values("mp3", "mp4", "video", "image", "audio", "bad"), nameOf);

} // namespace
} // namespace mv
