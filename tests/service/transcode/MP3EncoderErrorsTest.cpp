#include "tests/service/transcode/MP3EncoderFixture.h"

using namespace mv;
using namespace mv::test;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(MP3EncoderTest, NilPathsAreAssertions)
{
    LogCapture log;
    MP3Encoder encoder(encodingOfParts(parts()));
    encoder.setDelegate(delegate);
    auto reasonOf = [&](const Path& from, const Path& to) {
        try {
            encodeFrom(encoder, from, to);
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
    ASSERT_EQ(run("mkfifo " + test::shellQuoted(output)), 0);
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
        faults.failingWrite = write;
        delegate->messages.clear();
        EXPECT_EQ(failingCode(), 6) << write;
        if (write == 1)
            EXPECT_THAT(delegate->messages, ElementsAre("fail MVAudioEncoderErrorDomain 6"));
        else
            EXPECT_THAT(delegate->withoutProgress(), ElementsAre("start", "fail MVAudioEncoderErrorDomain 6"));
        EXPECT_EQ(delegate->messages.size(), write == 1 ? 1u : static_cast<std::size_t>(std::min(write, 12)));
        EXPECT_TRUE(outputExists());
    }
    faults.failingWrite = 14;
    EXPECT_TRUE(encode());
}

TEST_F(MP3EncoderTest, Error6SeekingBackFails)
{
    DebugGate gate(3);
    faults.failSeek = true;
    EXPECT_EQ(failingCode(), 6);
    EXPECT_THAT(gate.lines(), ElementsAre(testing::HasSubstr("fatal error: can't update LAME-tag frame!")));
}

TEST_F(MP3EncoderTest, Error6ClosingFails)
{
    faults.failClose = true;
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
