#include "tests/service/transcode/MP3EncoderFixture.h"

using namespace mv;
using namespace mv::test;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(MVAudioEncoder, HasThreeAttributesAndDoesNothing)
{
    MVAudioEncoder encoder;
    EXPECT_EQ(encoder.attributes(),
        (Record { { "MVAudioEncoderSamplingRateAttribute", 0 }, { "MVAudioEncoderBitrateAttribute", 192000 },
            { "MVAudioEncoderVBRAttribute", false } }));
    encoder.setAttributes({ { "x", 1 } });
    EXPECT_EQ(encoder.attributes().size(), 3u);
    EXPECT_FALSE(encoder.encodeFileOutputFile(OpenedFile(), OutputPlace::at("/b")));
    encoder.encodeOnThreadFileOutputFile(OpenedFile(), OutputPlace::at("/b"));
}

TEST_F(MP3EncoderTest, AttributesHaveDefaultsAndAreMerged)
{
    MP3Encoder encoder(standardEncoding());
    EXPECT_EQ(encoder.attributes(),
        (Record { { "MVAudioEncoderSamplingRateAttribute", 0 }, { "MVAudioEncoderBitrateAttribute", 192000 },
            { "MVAudioEncoderVBRAttribute", false }, { "MVMP3EncoderStereoModeAttribte", 2 },
            { "MVMP3EncoderQualityAttribute", 1 } }));
    encoder.setAttributes({ { MVAudioEncoderBitrateAttribute, 64000 }, { "own", "kept" } });
    EXPECT_EQ(encoder.attributes().integer(MVAudioEncoderBitrateAttribute), 64000);
    EXPECT_EQ(encoder.attributes().integer(MVMP3EncoderQualityAttribute), 1);
    EXPECT_EQ(*encoder.attributes().string("own"), "kept");
}

TEST_F(MP3EncoderTest, AttributesOfOtherKindsAreIgnored)
{
    MP3Encoder encoder(standardEncoding());
    encoder.setAttributes({ { MVAudioEncoderBitrateAttribute, OtherKind {} }, { "own", OtherKind {} },
        { MVAudioEncoderVBRAttribute, true } });
    EXPECT_EQ(encoder.attributes().size(), 5u);
    EXPECT_EQ(encoder.attributes().integer(MVAudioEncoderBitrateAttribute), 192000);
    EXPECT_EQ(encoder.attributes().boolean(MVAudioEncoderVBRAttribute), true);
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
        MP3Encoder encoder(encodingOfParts(own));
        encoder.setAttributes({ { MVAudioEncoderVBRAttribute, true } });
        EXPECT_TRUE(encodeFrom(encoder, input, output));
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
    MP3Encoder encoder(encodingOfParts(parts()));
    EXPECT_TRUE(encodeFrom(encoder, input, output));
    Bytes first = readFile(output);
    prepares = false;
    EXPECT_FALSE(encodeFrom(encoder, input, output));
    prepares = true;
    EXPECT_TRUE(encodeFrom(encoder, input, output));
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
    MP3Encoder encoder(encodingOfParts(parts()));
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
    EXPECT_TRUE(encodeFrom(encoder, input, output));
    EXPECT_TRUE(first.expired());
    EXPECT_THAT(other->messages, IsEmpty());
}

TEST_F(MP3EncoderTest, ADelegateThatRaisesEndsTheJob)
{
    delegate->onStart = [] { throw NSException(NSGenericException, "no"); };
    EXPECT_THROW(encode(), NSException);
    EXPECT_EQ(library.calls.back(), "close");
}
