#include "Base/Core/NSException.h"
#include "tests/service/transcode/DebugGate.h"
#include "tests/service/transcode/EncoderFakes.h"

#include <cmath>
#include <gmock/gmock.h>

using namespace mv;
using namespace mv::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/// An encoder on a watched library, a make-believe decoder and a file that may fail.
class MP3EncoderTest : public testing::Test {
protected:
    MP3EncoderParts parts()
    {
        return { &library, [this] { return makeDecoder(); },
            [this] {
                auto file = std::make_unique<FaultyOutput>();
                file->failingWrite = failingWrite;
                file->failSeek = failSeek;
                file->failClose = failClose;
                return file;
            } };
    }
    std::unique_ptr<MVAudioDecoder> makeDecoder()
    {
        if (noDecoder)
            return nullptr;
        auto decoder = std::make_unique<FakeDecoder>(frames, prepares);
        decoder->announced().framecount = announced.value_or(frames);
        decoder->announced().samplerate = rate;
        decoder->announced().channels = channels;
        decoder->atEnd = atEnd;
        return decoder;
    }
    bool encode(const Record& attributes = {})
    {
        MP3Encoder encoder(parts());
        encoder.setAttributes(attributes);
        encoder.setDelegate(delegate);
        return encoder.encodeFileOutputFile(input, output);
    }
    bool outputExists() { return NSFileExists(output); }
    static bool NSFileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }
    /// Runs a job that is to fail; the code that the delegate was told, after checking what comes with a failure.
    std::int32_t failingCode()
    {
        EXPECT_FALSE(encode());
        std::string prefix = "fail MVAudioEncoderErrorDomain ";
        auto messages = delegate->withoutProgress();
        if (messages.empty() || messages.back().rfind(prefix, 0) != 0)
            return 0;
        return std::stoi(messages.back().substr(prefix.size()));
    }

    WatchedLibrary library;
    std::int64_t frames = 1152 * 10;
    std::optional<std::int64_t> announced;
    std::int32_t rate = 44100;
    std::int32_t channels = 2;
    std::int32_t atEnd = 0;
    bool noDecoder = false;
    bool prepares = true;
    int failingWrite = 0;
    bool failSeek = false;
    bool failClose = false;
    ScratchFolder scratch;
    std::string input = scratch.write("in.wav", "");
    std::string output = scratch.file("out.mp3");
    std::shared_ptr<WatchedDelegate> delegate = std::make_shared<WatchedDelegate>();
};

std::string encodeLine(const std::string& message)
{
    return "[MP3Encoder.cpp:-[MP3Encoder encodeFile:outputFile:]-(N)] " + message;
}

} // namespace

TEST(MVAudioEncoder, HasThreeAttributesAndDoesNothing)
{
    MVAudioEncoder encoder;
    EXPECT_EQ(encoder.attributes(),
        (Record { { "MVAudioEncoderSamplingRateAttribute", 0 }, { "MVAudioEncoderBitrateAttribute", 192000 },
            { "MVAudioEncoderVBRAttribute", false } }));
    encoder.setAttributes({ { "x", 1 } });
    EXPECT_EQ(encoder.attributes().size(), 3u);
    EXPECT_FALSE(encoder.encodeFileOutputFile("/a", "/b"));
    encoder.encodeOnThreadFileOutputFile("/a", "/b");
}

TEST_F(MP3EncoderTest, AttributesHaveDefaultsAndAreMerged)
{
    MP3Encoder encoder;
    EXPECT_EQ(encoder.attributes(),
        (Record { { "MVAudioEncoderSamplingRateAttribute", 0 }, { "MVAudioEncoderBitrateAttribute", 192000 },
            { "MVAudioEncoderVBRAttribute", false }, { "MVMP3EncoderStereoModeAttribte", 2 },
            { "MVMP3EncoderQualityAttribute", 1 } }));
    encoder.setAttributes({ { MVAudioEncoderBitrateAttribute, 64000 }, { "own", "kept" } });
    EXPECT_EQ(encoder.attributes().integer(MVAudioEncoderBitrateAttribute), 64000);
    EXPECT_EQ(encoder.attributes().integer(MVMP3EncoderQualityAttribute), 1);
    EXPECT_EQ(*encoder.attributes().string("own"), "kept");
}

TEST_F(MP3EncoderTest, CallsTheLibraryInThisOrder)
{
    EXPECT_TRUE(encode());
    EXPECT_THAT(library.calls,
        ElementsAre("init", "out_samplerate 44100", "VBR 0", "brate 192", "num_channels 2", "in_samplerate 44100",
            "mode 0", "quality 5", "write_vbr_tag 1", "init_params", "framesize", "id3v2_tag 147456", "flush 147456",
            "lametag_frame 147456", "close"));
    EXPECT_EQ(library.blocks, 10);
    EXPECT_THAT(library.framesOfBlocks, testing::Each(1152));
}

TEST_F(MP3EncoderTest, VariableBitRateIgnoresTheBitRateAttribute)
{
    EXPECT_TRUE(encode({ { MVAudioEncoderVBRAttribute, true }, { MVAudioEncoderBitrateAttribute, 64000 } }));
    EXPECT_THAT(std::vector(library.calls.begin() + 2, library.calls.begin() + 9),
        ElementsAre("VBR 4", "get_mean", "get_mean", "mean 128", "get_mean", "mean 128", "num_channels 2"));
}

TEST_F(MP3EncoderTest, MeanBitRatesAreBroughtIntoRange)
{
    struct Row {
        int mean;
        std::vector<std::string> set;
    };
    const Row rows[] { { 7999, { "mean 320", "mean 320" } }, { 8000, { "mean 8", "mean 8", "mean 8" } },
        { 128499, { "mean 128", "mean 128", "mean 128" } }, { 128500, { "mean 129", "mean 129", "mean 129" } },
        { 320000, { "mean 320", "mean 320", "mean 320" } }, { 999000, { "mean 999", "mean 320", "mean 320" } },
        { 7, { "mean 7", "mean 8" } }, { 0, { "mean 0", "mean 8" } }, { 321, { "mean 320", "mean 320" } } };
    for (const Row& row : rows) {
        WatchedLibrary watched;
        watched.meanBitrate = row.mean;
        MP3EncoderParts own = parts();
        own.library = &watched;
        MP3Encoder encoder(own);
        encoder.setAttributes({ { MVAudioEncoderVBRAttribute, true } });
        EXPECT_TRUE(encoder.encodeFileOutputFile(input, output));
        std::vector<std::string> set;
        for (const std::string& call : watched.calls)
            if (call.rfind("mean ", 0) == 0)
                set.push_back(call);
        EXPECT_EQ(set, row.set) << row.mean;
    }
}

TEST_F(MP3EncoderTest, RatesModesAndQualities)
{
    struct Row {
        std::string_view attribute;
        std::int32_t value;
        const char* call;
    };
    const Row rows[] { { MVAudioEncoderSamplingRateAttribute, 22050, "out_samplerate 22050" },
        { MVAudioEncoderSamplingRateAttribute, 0, "out_samplerate 44100" },
        { MVAudioEncoderBitrateAttribute, 128999, "brate 128" }, { MVAudioEncoderBitrateAttribute, 999, "brate 0" },
        { MVMP3EncoderStereoModeAttribte, 0, "mode 4" }, { MVMP3EncoderStereoModeAttribte, 1, "mode 3" },
        { MVMP3EncoderStereoModeAttribte, 2, "mode 0" }, { MVMP3EncoderStereoModeAttribte, 3, "mode 1" },
        { MVMP3EncoderStereoModeAttribte, 4, "mode 4" }, { MVMP3EncoderStereoModeAttribte, -1, "mode 4" },
        { MVMP3EncoderQualityAttribute, 0, "quality 7" }, { MVMP3EncoderQualityAttribute, 1, "quality 5" },
        { MVMP3EncoderQualityAttribute, 2, "quality 2" }, { MVMP3EncoderQualityAttribute, 3, "quality 5" },
        { MVMP3EncoderQualityAttribute, -7, "quality 5" } };
    for (const Row& row : rows) {
        library.calls.clear();
        EXPECT_TRUE(encode({ { row.attribute, row.value } }));
        EXPECT_THAT(library.calls, testing::Contains(row.call));
    }
}

TEST_F(MP3EncoderTest, TheInputsRateIsDeclared)
{
    rate = 32000;
    EXPECT_TRUE(encode());
    EXPECT_THAT(library.calls, testing::IsSupersetOf({ "out_samplerate 32000", "in_samplerate 32000" }));
}

TEST_F(MP3EncoderTest, BlocksAreFramesOfTheOutput)
{
    rate = 22050;
    frames = 576 * 3 + 1;
    EXPECT_TRUE(encode());
    EXPECT_THAT(library.framesOfBlocks, ElementsAre(576, 576, 576, 1));
}

TEST_F(MP3EncoderTest, MessagesOfAJobThatCompletes)
{
    frames = 1152 * 3 + 500;
    EXPECT_TRUE(encode());
    EXPECT_THAT(delegate->messages, ElementsAre("start", "progress", "progress", "progress", "progress", "end"));
    EXPECT_EQ(delegate->questions, 5); // before each of four blocks, and before the read that finds the end
    EXPECT_THAT(delegate->threads, testing::Each(std::this_thread::get_id()));
}

TEST_F(MP3EncoderTest, PercentIsRoundedUpAndOnlyGrows)
{
    frames = 1152 * 250 + 100;
    EXPECT_TRUE(encode());
    std::vector<float> expected;
    float last = -1;
    for (std::int64_t done = 0; done < frames;) {
        done = std::min<std::int64_t>(frames, done + 1152);
        auto percent = static_cast<float>(std::ceil(static_cast<double>(done) * 100.0 / static_cast<double>(frames)));
        if (percent > last)
            expected.push_back(last = percent);
    }
    EXPECT_EQ(delegate->percents, expected);
    EXPECT_EQ(delegate->percents.size(), 100u);
    EXPECT_EQ(delegate->percents.front(), 1.0f);
    EXPECT_EQ(delegate->percents.back(), 100.0f);
}

TEST_F(MP3EncoderTest, TheFirstPercentCanBeAboveOne)
{
    frames = 1152 * 7;
    EXPECT_TRUE(encode());
    EXPECT_THAT(delegate->percents, ElementsAre(15.0f, 29.0f, 43.0f, 58.0f, 72.0f, 86.0f, 100.0f));
}

TEST_F(MP3EncoderTest, AnInputWithoutFrames)
{
    frames = 0;
    EXPECT_TRUE(encode());
    EXPECT_THAT(delegate->messages, ElementsAre("start", "end"));
    EXPECT_THAT(library.calls, testing::IsSupersetOf({ "flush 147456", "lametag_frame 147456" }));
    EXPECT_TRUE(outputExists());
}

TEST_F(MP3EncoderTest, AFailedReadIsTheEndOfTheInput)
{
    atEnd = -1;
    announced = frames * 2;
    EXPECT_TRUE(encode());
    EXPECT_THAT(delegate->withoutProgress(), ElementsAre("start", "end"));
    EXPECT_EQ(delegate->percents.back(), 50.0f);
}

TEST_F(MP3EncoderTest, CancelledAtTheFirstQuestion)
{
    delegate->stopAtQuestion = 1;
    EXPECT_TRUE(encode());
    EXPECT_THAT(delegate->messages, ElementsAre("start"));
    EXPECT_FALSE(outputExists());
    EXPECT_EQ(library.calls.back(), "close");
    EXPECT_THAT(library.calls, testing::Not(testing::Contains("lametag_frame 147456")));
}

TEST_F(MP3EncoderTest, CancelledWithinABlock)
{
    frames = 1152 * 5000;
    delegate->stopAtQuestion = 4;
    EXPECT_TRUE(encode());
    EXPECT_THAT(delegate->messages, ElementsAre("start", "progress")); // 3 of 5000 blocks are 1 percent
    EXPECT_EQ(delegate->questions, 4);
    EXPECT_FALSE(outputExists());
    EXPECT_LT(library.blocks, 1000); // what was done ahead is bounded
}

TEST_F(MP3EncoderTest, CancelledBeforeTheReadThatFindsTheEnd)
{
    frames = 1152;
    delegate->stopAtQuestion = 2;
    EXPECT_TRUE(encode());
    EXPECT_THAT(delegate->messages, ElementsAre("start", "progress"));
    EXPECT_FALSE(outputExists());
}

TEST_F(MP3EncoderTest, WithoutADelegateOnlyTheResultTells)
{
    delegate = nullptr;
    EXPECT_TRUE(encode());
    EXPECT_TRUE(outputExists());
    library.initParamsResult = -1;
    EXPECT_FALSE(encode());
}

TEST_F(MP3EncoderTest, NilPathsAreAssertions)
{
    LogCapture log;
    MP3Encoder encoder(parts());
    encoder.setDelegate(delegate);
    auto reasonOf = [&](const Path& from, const Path& to) {
        try {
            encoder.encodeFileOutputFile(from, to);
        } catch (const NSException& raised) {
            return raised.name() + ": " + raised.reason();
        }
        return std::string("nothing");
    };
    EXPECT_EQ(reasonOf(Path(), output), "NSInternalInconsistencyException: input is nil");
    EXPECT_EQ(reasonOf(Path(), Path()), "NSInternalInconsistencyException: input is nil");
    EXPECT_EQ(reasonOf(input, Path()), "NSInternalInconsistencyException: output is nil");
    EXPECT_THAT(delegate->messages, IsEmpty());
    EXPECT_THAT(library.calls, IsEmpty());
}

TEST_F(MP3EncoderTest, Error1InputCannotBeDecoded)
{
    prepares = false;
    EXPECT_EQ(failingCode(), 1);
    EXPECT_THAT(delegate->messages, ElementsAre("fail MVAudioEncoderErrorDomain 1"));
    EXPECT_THAT(library.calls, ElementsAre("init", "close"));
    EXPECT_FALSE(outputExists());
}

TEST_F(MP3EncoderTest, Error1NoDecoder)
{
    noDecoder = true;
    EXPECT_EQ(failingCode(), 1);
}

TEST_F(MP3EncoderTest, Error1LeavesAnOutputThatWasThereAlone)
{
    scratch.write("out.mp3", "precious");
    prepares = false;
    EXPECT_EQ(failingCode(), 1);
    EXPECT_EQ(readFile(output), Bytes({ 'p', 'r', 'e', 'c', 'i', 'o', 'u', 's' }));
}

TEST_F(MP3EncoderTest, Error1NoExactConversion)
{
    EXPECT_FALSE(encode({ { MVAudioEncoderExactConversionAttribute, true } })); // the fake has none
    EXPECT_THAT(delegate->messages, ElementsAre("fail MVAudioEncoderErrorDomain 1"));
    EXPECT_TRUE(encode({ { MVAudioEncoderExactConversionAttribute, false } }));
}

TEST_F(MP3EncoderTest, Error2ParametersAreRefused)
{
    library.initParamsResult = -1;
    EXPECT_EQ(failingCode(), 2);
    EXPECT_THAT(delegate->messages, ElementsAre("fail MVAudioEncoderErrorDomain 2"));
    EXPECT_EQ(library.calls.back(), "close");
    EXPECT_FALSE(outputExists());
}

TEST_F(MP3EncoderTest, Error4OutputCannotBeOpened)
{
    output = scratch.file("no such folder/out.mp3");
    EXPECT_EQ(failingCode(), 4);
    EXPECT_THAT(delegate->messages, ElementsAre("fail MVAudioEncoderErrorDomain 4"));
    EXPECT_THAT(library.calls, testing::Not(testing::Contains("framesize")));
    output = scratch.path(); // a folder
    EXPECT_EQ(failingCode(), 4);
    output = scratch.file("fifo"); // without a reader
    ASSERT_EQ(run("mkfifo " + test::quoted(output)), 0);
    EXPECT_EQ(failingCode(), 4);
}

TEST_F(MP3EncoderTest, Error4OutputIsTheInput)
{
    scratch.write("in.wav", "precious");
    Bytes before = readFile(input);
    std::string link = scratch.file("link.mp3");
    std::string hardLink = scratch.file("hard.mp3");
    ASSERT_EQ(symlink(input.c_str(), link.c_str()), 0);
    ASSERT_EQ(::link(input.c_str(), hardLink.c_str()), 0);
    for (const std::string& name : { input, link, hardLink, scratch.path() + "/./in.wav" }) {
        output = name;
        EXPECT_EQ(failingCode(), 4) << name;
        EXPECT_EQ(readFile(input), before);
    }
}

TEST_F(MP3EncoderTest, Error5TagTooLarge)
{
    library.id3Size = 147457;
    EXPECT_EQ(failingCode(), 5);
    EXPECT_THAT(delegate->messages, ElementsAre("fail MVAudioEncoderErrorDomain 5"));
    EXPECT_TRUE(outputExists()); // what was written stays
}

TEST_F(MP3EncoderTest, ATagThatFillsTheBufferIsWritten)
{
    library.id3Size = 147456;
    EXPECT_TRUE(encode());
    EXPECT_GT(readFile(output).size(), 147456u);
}

TEST_F(MP3EncoderTest, Error5TagFrameTooLarge)
{
    DebugGate gate(3);
    library.lametagSize = 147457;
    EXPECT_EQ(failingCode(), 5);
    EXPECT_THAT(gate.lines(),
        ElementsAre(testing::HasSubstr("Error writing LAME-tag frame: buffer too small: buffer "
                                       "size=147456  frame size=147457")));
    EXPECT_THAT(delegate->withoutProgress(), ElementsAre("start", "fail MVAudioEncoderErrorDomain 5"));
    EXPECT_TRUE(outputExists());
}

TEST_F(MP3EncoderTest, NoTagFrameIsWrittenWhereThereIsNone)
{
    EXPECT_TRUE(encode());
    Bytes with = readFile(output);
    library.lametagSize = 0;
    EXPECT_TRUE(encode());
    Bytes without = readFile(output);
    EXPECT_EQ(with.size(), without.size());
    EXPECT_NE(with, without);
    EXPECT_TRUE(std::equal(with.begin() + 626, with.end(), without.begin() + 626)); // a frame of 192 kbit/s
}

// The writes of a job: the tag, one for each block, the flushed rest, the tag frame.
TEST_F(MP3EncoderTest, Error6AnyWriteComesShort)
{
    for (int write : { 1, 2, 6, 11, 12, 13 }) {
        failingWrite = write;
        delegate->messages.clear();
        EXPECT_EQ(failingCode(), 6) << write;
        if (write == 1)
            EXPECT_THAT(delegate->messages, ElementsAre("fail MVAudioEncoderErrorDomain 6"));
        else
            EXPECT_THAT(delegate->withoutProgress(), ElementsAre("start", "fail MVAudioEncoderErrorDomain 6"));
        EXPECT_EQ(delegate->messages.size(), write == 1 ? 1u : static_cast<std::size_t>(std::min(write, 12)));
        EXPECT_TRUE(outputExists());
    }
    failingWrite = 14;
    EXPECT_TRUE(encode());
}

TEST_F(MP3EncoderTest, Error6SeekingBackFails)
{
    DebugGate gate(3);
    failSeek = true;
    EXPECT_EQ(failingCode(), 6);
    EXPECT_THAT(gate.lines(), ElementsAre(testing::HasSubstr("fatal error: can't update LAME-tag frame!")));
}

TEST_F(MP3EncoderTest, Error6ClosingFails)
{
    failClose = true;
    EXPECT_EQ(failingCode(), 6);
}

TEST_F(MP3EncoderTest, Error6DiskIsFull)
{
    output = "/dev/full";
    EXPECT_EQ(failingCode(), 6);
}

TEST_F(MP3EncoderTest, Error7TheLibraryDoesNotStart)
{
    DebugGate gate(3);
    library.refuseInit = true;
    EXPECT_EQ(failingCode(), 7);
    EXPECT_THAT(library.calls, ElementsAre("init"));
    EXPECT_THAT(gate.lines(), ElementsAre(encodeLine("failed to initialize lame")));
}

TEST_F(MP3EncoderTest, Error7And8Encoding)
{
    for (int result : { -1, -2, -3, -100 }) {
        library.encodeResult = result;
        library.encodeFailsAtBlock = library.blocks + 4;
        delegate->messages.clear();
        EXPECT_EQ(failingCode(), result == -1 ? 8 : 7);
        EXPECT_EQ(delegate->messages.size(), 5u); // start, three blocks, fail
        EXPECT_TRUE(outputExists());
    }
}

TEST_F(MP3EncoderTest, Error7And8Flushing)
{
    library.flushResult = -1;
    EXPECT_EQ(failingCode(), 8);
    library.flushResult = -4;
    EXPECT_EQ(failingCode(), 7);
}

TEST_F(MP3EncoderTest, AFrameSizeAboveTheBlockIsAnAssertion)
{
    LogCapture log;
    library.frameSizeResult = 1153;
    try {
        encode();
        FAIL() << "nothing raised";
    } catch (const NSException& raised) {
        EXPECT_EQ(raised.name(), "NSInternalInconsistencyException");
        EXPECT_EQ(raised.reason(), "Invalid frame size");
    }
    EXPECT_THAT(delegate->messages, IsEmpty());
    EXPECT_EQ(library.calls.back(), "close");
}

TEST_F(MP3EncoderTest, ABitRateOfZeroIsOnlyLogged)
{
    DebugGate gate(3);
    EXPECT_TRUE(encode({ { MVAudioEncoderBitrateAttribute, 0 }, { MVAudioEncoderSamplingRateAttribute, 44100 } }));
    EXPECT_THAT(gate.lines(),
        ElementsAre(
            encodeLine("Invalid encode attributes"), encodeLine("bitrate:    0"), encodeLine("samplerate: 44100")));
    EXPECT_THAT(library.calls, testing::Contains("brate 0"));
}

TEST_F(MP3EncoderTest, ParametersAreDumpedAtLevelSix)
{
    {
        DebugGate gate(5);
        EXPECT_TRUE(encode());
        EXPECT_THAT(gate.lines(), IsEmpty());
    }
    channels = 6;
    rate = 22050;
    DebugGate gate(6);
    EXPECT_TRUE(encode({ { MVAudioEncoderBitrateAttribute, 128500 } }));
    EXPECT_THAT(gate.lines(),
        ElementsAre(encodeLine("readToSample:  576"), encodeLine("channels:   6"), encodeLine("samplerate: 22050"),
            encodeLine("bitrate:    128500")));
}

TEST_F(MP3EncoderTest, AnEncoderIsReusableAndItsBytesAreTheSameEachTime)
{
    MP3Encoder encoder(parts());
    EXPECT_TRUE(encoder.encodeFileOutputFile(input, output));
    Bytes first = readFile(output);
    prepares = false;
    EXPECT_FALSE(encoder.encodeFileOutputFile(input, output));
    prepares = true;
    EXPECT_TRUE(encoder.encodeFileOutputFile(input, output));
    EXPECT_EQ(readFile(output), first);
    EXPECT_FALSE(first.empty());
}

TEST_F(MP3EncoderTest, ALongerFileThatWasThereIsReplaced)
{
    EXPECT_TRUE(encode());
    Bytes fresh = readFile(output);
    scratch.write("out.mp3", std::string(500000, 'x'));
    EXPECT_TRUE(encode());
    EXPECT_EQ(readFile(output), fresh);
}

TEST_F(MP3EncoderTest, AJobKeepsTheDelegateThatItBeganWith)
{
    MP3Encoder encoder(parts());
    auto other = std::make_shared<WatchedDelegate>();
    std::weak_ptr<WatchedDelegate> first = delegate;
    delegate->onStart = [&] { encoder.setDelegate(other); };
    encoder.setDelegate(delegate);
    WatchedDelegate* raw = delegate.get();
    delegate->onStart = [&, raw] {
        encoder.setDelegate(other);
        EXPECT_EQ(raw->messages.size(), 1u);
    };
    delegate.reset();
    EXPECT_TRUE(encoder.encodeFileOutputFile(input, output));
    EXPECT_TRUE(first.expired());
    EXPECT_THAT(other->messages, IsEmpty());
}

TEST_F(MP3EncoderTest, ADelegateThatRaisesEndsTheJob)
{
    delegate->onStart = [] { throw NSException(NSGenericException, "no"); };
    EXPECT_THROW(encode(), NSException);
    EXPECT_EQ(library.calls.back(), "close");
}
