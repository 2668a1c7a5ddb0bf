#include "Base/Core/NSException.h"
#include "system/BatchQueue.h"
#include "tests/service/transcode/DebugGate.h"
#include "tests/service/transcode/EncoderFakes.h"

#include <condition_variable>
#include <functional>
#include <gmock/gmock.h>
#include <mutex>
#include <semaphore>

using namespace mv;
using namespace mv::test;

namespace {

/// Counts what jobs on threads say, and waits for it.
class CountingDelegate final : public MVAudioEncoderDelegate {
public:
    void encoderDidStart(MVAudioEncoderBase&) override
    {
        std::lock_guard hold(m_lock);
        ++m_starts;
        m_threads.push_back(std::this_thread::get_id());
        m_changed.notify_all();
    }
    bool shouldEncodeStop() override { return false; }
    void encoderProgress(MVAudioEncoderBase&, float) override { }
    void encoderDidFailWithError(MVAudioEncoderBase&, const NSError& error) override { finish(error.code); }
    void encoderDidEnd(MVAudioEncoderBase&) override { finish(0); }

    void waitForStarts(int count)
    {
        std::unique_lock hold(m_lock);
        m_changed.wait(hold, [&] { return m_starts >= count; });
    }
    /// The codes of the jobs that ended, 0 for success, when there are so many.
    std::vector<std::int32_t> waitForEnds(std::size_t count)
    {
        std::unique_lock hold(m_lock);
        m_changed.wait(hold, [&] { return m_codes.size() >= count; });
        return m_codes;
    }
    std::vector<std::thread::id> threads()
    {
        std::lock_guard hold(m_lock);
        return m_threads;
    }

private:
    void finish(std::int32_t code)
    {
        std::lock_guard hold(m_lock);
        m_codes.push_back(code);
        m_changed.notify_all();
    }

    std::mutex m_lock;
    std::condition_variable m_changed;
    int m_starts = 0;
    std::vector<std::int32_t> m_codes;
    std::vector<std::thread::id> m_threads;
};

/// Does what a test says; without a word, nothing, and no job stops.
struct ScriptedDelegate final : MVAudioEncoderDelegate {
    std::function<std::shared_ptr<MVAudioEncoderDelegate>(MVAudioEncoderBase&)> ofJob;
    std::function<void()> onStart;
    std::function<bool()> onQuestion;
    std::function<void()> onDestruction;

    ~ScriptedDelegate() override
    {
        if (onDestruction)
            onDestruction();
    }
    std::shared_ptr<MVAudioEncoderDelegate> delegateOfJob(MVAudioEncoderBase& encoder) override
    {
        return ofJob ? ofJob(encoder) : nullptr;
    }
    void encoderDidStart(MVAudioEncoderBase&) override
    {
        if (onStart)
            onStart();
    }
    bool shouldEncodeStop() override { return onQuestion && onQuestion(); }
    void encoderProgress(MVAudioEncoderBase&, float) override { }
    void encoderDidFailWithError(MVAudioEncoderBase&, const NSError&) override { }
    void encoderDidEnd(MVAudioEncoderBase&) override { }
};

MP3EncoderParts fakeParts(std::int64_t frames)
{
    MP3EncoderParts parts = MP3EncoderParts::standard();
    parts.makeDecoder = [frames] { return std::make_unique<FakeDecoder>(frames); };
    return parts;
}

} // namespace

TEST(MP3EncoderThread, AJobOnAThreadReportsFromIt)
{
    ScratchFolder scratch;
    auto delegate = std::make_shared<CountingDelegate>();
    MP3Encoder encoder(encodingOfParts(fakeParts(1152 * 50)));
    encoder.setDelegate(delegate);
    std::string direct = scratch.file("direct.mp3");
    std::string threaded = scratch.file("threaded.mp3");
    ASSERT_TRUE(encoder.encodeFileOutputFile(OpenedFile::at("/in"), OutputPlace::at(direct)));
    encoder.encodeOnThreadFileOutputFile(OpenedFile::at("/in"), OutputPlace::at(threaded));
    EXPECT_THAT(delegate->waitForEnds(2), testing::ElementsAre(0, 0));
    ASSERT_EQ(delegate->threads().size(), 2u);
    EXPECT_EQ(delegate->threads()[0], std::this_thread::get_id());
    EXPECT_NE(delegate->threads()[1], std::this_thread::get_id());
    EXPECT_EQ(readFile(threaded), readFile(direct));
    EXPECT_EQ(*encoder.attributes().string("_InputFile"), "/in"); // they stay
    EXPECT_EQ(*encoder.attributes().string("_OutputFile"), threaded);
}

TEST(MP3EncoderThread, AFailureOnAThreadReachesTheDelegateOnly)
{
    ScratchFolder scratch;
    auto delegate = std::make_shared<CountingDelegate>();
    MP3Encoder encoder(encodingOfParts(fakeParts(1152)));
    encoder.setDelegate(delegate);
    encoder.encodeOnThreadFileOutputFile(OpenedFile::at("/in"), OutputPlace::at(scratch.file("no folder/out.mp3")));
    EXPECT_THAT(delegate->waitForEnds(1), testing::ElementsAre(4));
}

TEST(MP3EncoderThread, NilPathsCannotBePutIntoTheAttributes)
{
    MP3Encoder encoder(standardEncoding());
    for (auto [input, output] : { std::pair { Path(), Path("/out") }, { Path("/in"), Path() } }) {
        try {
            encoder.encodeOnThreadFileOutputFile(OpenedFile::at(input), OutputPlace::at(output));
            FAIL() << "nothing raised";
        } catch (const NSException& raised) {
            EXPECT_EQ(raised.name(), "NSInvalidArgumentException");
        }
        // The input is put there first.
        EXPECT_EQ(encoder.attributes().contains("_InputFile"), !input.isNil());
        EXPECT_FALSE(encoder.attributes().contains("_OutputFile"));
    }
}

TEST(MP3EncoderThread, AThreadWithoutPathsEndsByItsAssertion)
{
    LogCapture log;
    MP3Encoder encoder(standardEncoding());
    encoder.encodeThread();
    ASSERT_EQ(log.lines().size(), 2u);
    EXPECT_EQ(log.lines()[1], "*** Terminating encoding thread due to uncaught exception: input is nil");
}

TEST(MP3EncoderThread, TwentyEncodersAtOnce)
{
    ScratchFolder scratch;
    auto delegate = std::make_shared<CountingDelegate>();
    std::vector<std::unique_ptr<MP3Encoder>> encoders;
    for (int i = 0; i < 20; ++i) {
        encoders.push_back(std::make_unique<MP3Encoder>(encodingOfParts(fakeParts(1152 * 40))));
        encoders.back()->setDelegate(delegate);
        encoders.back()->encodeOnThreadFileOutputFile(
            OpenedFile::at("/in"), OutputPlace::at(scratch.file(std::to_string(i) + ".mp3")));
    }
    EXPECT_THAT(delegate->waitForEnds(20), testing::Each(0));
    Bytes first = readFile(scratch.file("0.mp3"));
    EXPECT_GT(first.size(), 1000u);
    for (int i = 1; i < 20; ++i)
        EXPECT_EQ(readFile(scratch.file(std::to_string(i) + ".mp3")), first);
}

// Each waits for the one before to have started, which is when it has taken its paths.
TEST(MP3EncoderThread, TwentyJobsOnOneEncoder)
{
    ScratchFolder scratch;
    auto delegate = std::make_shared<CountingDelegate>();
    MP3Encoder encoder(encodingOfParts(fakeParts(1152 * 40)));
    encoder.setDelegate(delegate);
    for (int i = 0; i < 20; ++i) {
        encoder.encodeOnThreadFileOutputFile(
            OpenedFile::at("/in"), OutputPlace::at(scratch.file(std::to_string(i) + ".mp3")));
        delegate->waitForStarts(i + 1);
    }
    EXPECT_THAT(delegate->waitForEnds(20), testing::Each(0));
    Bytes first = readFile(scratch.file("0.mp3"));
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(readFile(scratch.file(std::to_string(i) + ".mp3")), first);
}

// Jobs started back to back may all see the last pair of paths; whichever they see, all of them end, and the last
// output is there.
TEST(MP3EncoderThread, JobsStartedBackToBackMayShareAPair)
{
    ScratchFolder scratch;
    auto delegate = std::make_shared<CountingDelegate>();
    MP3Encoder encoder(encodingOfParts(fakeParts(1152 * 20)));
    encoder.setDelegate(delegate);
    std::thread writer([&] {
        for (int i = 0; i < 200; ++i)
            encoder.setAttributes({ { MVMP3EncoderQualityAttribute, i % 3 } });
    });
    for (int i = 0; i < 10; ++i)
        encoder.encodeOnThreadFileOutputFile(
            OpenedFile::at("/in"), OutputPlace::at(scratch.file(std::to_string(i) + ".mp3")));
    EXPECT_THAT(delegate->waitForEnds(10), testing::Each(0));
    writer.join();
    EXPECT_EQ(access(scratch.file("9.mp3").c_str(), F_OK), 0);
}

// Both threads take up their files after the second pair was put down: the first output is never made.
TEST(MP3EncoderThread, TheSecondPairIsWhatALateThreadSees)
{
    ScratchFolder scratch;
    MP3Encoder encoder(encodingOfParts(fakeParts(1152)));
    encoder.putDown(OpenedFile::at("/in"), OutputPlace::at(scratch.file("first.mp3")));
    encoder.putDown(OpenedFile::at("/in"), OutputPlace::at(scratch.file("second.mp3")));
    encoder.encodeThread();
    encoder.encodeThread();
    EXPECT_NE(access(scratch.file("first.mp3").c_str(), F_OK), 0);
    EXPECT_EQ(access(scratch.file("second.mp3").c_str(), F_OK), 0);
}

TEST(MP3EncoderThread, FilesThatWereTakenUpAreLetGo)
{
    ScratchFolder scratch;
    MP3Encoder encoder(encodingOfParts(fakeParts(1152)));
    SharedSource content = sourceOfBytes({});
    std::weak_ptr<const ByteSource> watched = content;
    encoder.putDown(OpenedFile("/in", FileAttributes {}, std::move(content)), OutputPlace::at(scratch.file("out.mp3")));
    EXPECT_FALSE(watched.expired());
    encoder.encodeThread();
    EXPECT_TRUE(watched.expired());
}

TEST(MP3EncoderThread, AnEncoderThatGoesAwayEndsItsJobsAsCancelled)
{
    ScratchFolder scratch;
    auto delegate = std::make_shared<CountingDelegate>();
    std::string output = scratch.file("long.mp3");
    {
        MP3Encoder encoder(encodingOfParts(fakeParts(std::int64_t { 1152 } << 30))); // a year
        encoder.setDelegate(delegate);
        encoder.encodeOnThreadFileOutputFile(OpenedFile::at("/in"), OutputPlace::at(output));
        delegate->waitForStarts(1);
    }
    EXPECT_NE(access(output.c_str(), F_OK), 0);
}

// The first job asks for another one when the second has ended, which the closing alone makes it do.
TEST(MP3EncoderThread, AnEncoderThatGoesAwayStartsNoOtherJob)
{
    ScratchFolder scratch;
    std::binary_semaphore firstAsks(0), secondStarts(0), secondEnds(0);
    std::string refusal;
    auto first = std::make_shared<ScriptedDelegate>();
    auto second = std::make_shared<ScriptedDelegate>();
    first->ofJob = [&](MVAudioEncoderBase& encoder) {
        auto job = std::make_shared<ScriptedDelegate>();
        job->onQuestion = [&] {
            firstAsks.release();
            secondEnds.acquire();
            try {
                encoder.encodeOnThreadFileOutputFile(OpenedFile::at("/in"), OutputPlace::at(scratch.file("third.mp3")));
            } catch (const NSException& exception) {
                refusal = exception.reason();
            }
            return true;
        };
        return job;
    };
    second->ofJob = [&](MVAudioEncoderBase&) {
        auto job = std::make_shared<ScriptedDelegate>();
        job->onStart = [&] { secondStarts.release(); };
        job->onDestruction = [&] { secondEnds.release(); };
        return job;
    };
    {
        MP3Encoder encoder(encodingOfParts(fakeParts(std::int64_t { 1152 } << 30)));
        encoder.setDelegate(first);
        encoder.encodeOnThreadFileOutputFile(OpenedFile::at("/in"), OutputPlace::at(scratch.file("first.mp3")));
        firstAsks.acquire();
        encoder.setDelegate(second);
        encoder.encodeOnThreadFileOutputFile(OpenedFile::at("/in"), OutputPlace::at(scratch.file("second.mp3")));
        secondStarts.acquire();
    }
    EXPECT_EQ(refusal, "the encoder is being closed");
    EXPECT_NE(access(scratch.file("third.mp3").c_str(), F_OK), 0);
}

TEST(MP3EncoderThread, AJobHasADelegateOfItsOwnOnItsThread)
{
    ScratchFolder scratch;
    BatchQueue<std::thread::id> threads(16, 1);
    auto noteThread = [&] { threads.push(std::this_thread::get_id()); };
    auto client = std::make_shared<ScriptedDelegate>();
    client->onStart = [] { ADD_FAILURE() << "told of a job"; };
    client->ofJob = [&](MVAudioEncoderBase&) {
        auto job = std::make_shared<ScriptedDelegate>();
        job->onStart = noteThread;
        job->onDestruction = noteThread;
        return job;
    };
    MP3Encoder encoder(encodingOfParts(fakeParts(1152)));
    encoder.setDelegate(client);
    EXPECT_TRUE(encoder.encodeFileOutputFile(OpenedFile::at("/in"), OutputPlace::at(scratch.file("out.mp3"))));
    encoder.encodeOnThreadFileOutputFile(OpenedFile::at("/in"), OutputPlace::at(scratch.file("out.mp3")));
    std::vector<std::thread::id> seen;
    for (std::deque<std::thread::id> some; seen.size() < 4; seen.insert(seen.end(), some.begin(), some.end()))
        threads.takeAll(some);
    EXPECT_EQ(seen[0], std::this_thread::get_id());
    EXPECT_EQ(seen[1], std::this_thread::get_id());
    EXPECT_NE(seen[2], std::this_thread::get_id());
    EXPECT_EQ(seen[3], seen[2]);
}

TEST(BatchQueue, HandsOverInOrderAndEndsWhenClosed)
{
    BatchQueue<int> queue(8, 3);
    std::thread producer([&] {
        for (int i = 0; i < 1000; ++i)
            EXPECT_TRUE(queue.push(i));
        queue.close();
    });
    std::deque<int> items;
    int expected = 0;
    do {
        queue.takeAll(items);
        EXPECT_LE(items.size(), 8u);
        for (int item : items)
            EXPECT_EQ(item, expected++);
    } while (!items.empty());
    producer.join();
    EXPECT_EQ(expected, 1000);
    EXPECT_FALSE(queue.push(1));
}

TEST(BatchQueue, ClosingFreesAProducerThatWaits)
{
    BatchQueue<int> queue(2, 1);
    std::thread producer([&] {
        while (queue.push(1)) { }
    });
    queue.close();
    producer.join();
}
