#include "service/transcode/CoreAudioDecoder.h"

#include "Base/Core/NSException.h"
#include "tests/service/transcode/DebugGate.h"

#include <gmock/gmock.h>

using namespace mv;
using namespace mv::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr OSStatus Told = 0x74657374; // 'test'

/// Platform functions over one make-believe file; each can be told to fail.
class FakeFunctions final : public AudioFileFunctions {
public:
    OSStatus makeRefStatus = noErr;
    OSStatus openStatus = noErr;
    OSStatus formatStatus = noErr;
    OSStatus lengthStatus = noErr;
    OSStatus setStatus = noErr;
    OSStatus readStatus = noErr;
    OSStatus disposeStatus = noErr;
    AudioStreamBasicDescription format = linearPcm(44100, 2, 16, kAudioFormatFlagIsSignedInteger);
    std::int64_t length = 1000;
    std::uint32_t framesToGive = 0;
    mutable std::vector<std::string> calls;
    mutable AudioStreamBasicDescription clientSet;

    OSStatus makeRef(const OpenedFile& file, FSRef& ref) const override
    {
        calls.push_back("makeRef " + file.path().text());
        ref.file = file;
        return makeRefStatus;
    }
    OSStatus open(const FSRef&, ExtAudioFileRef* file) const override
    {
        calls.push_back("open");
        if (openStatus == noErr)
            *file = reinterpret_cast<ExtAudioFileRef>(&m_anything);
        return openStatus;
    }
    OSStatus getProperty(ExtAudioFileRef, std::uint32_t property, std::uint32_t* size, void* data) const override
    {
        calls.push_back("get " + fourCharacterText(property) + " " + std::to_string(*size));
        if (property == kExtAudioFileProperty_FileDataFormat && formatStatus == noErr)
            std::memcpy(data, &format, sizeof format);
        if (property == kExtAudioFileProperty_FileLengthFrames && lengthStatus == noErr)
            std::memcpy(data, &length, sizeof length);
        return property == kExtAudioFileProperty_FileDataFormat ? formatStatus : lengthStatus;
    }
    OSStatus setProperty(ExtAudioFileRef, std::uint32_t property, std::uint32_t, const void* data) const override
    {
        calls.push_back("set " + fourCharacterText(property));
        std::memcpy(&clientSet, data, sizeof clientSet);
        return setStatus;
    }
    OSStatus read(ExtAudioFileRef, std::uint32_t* frames, AudioBufferList*) const override
    {
        calls.push_back("read " + std::to_string(*frames));
        *frames = framesToGive;
        return readStatus;
    }
    OSStatus dispose(ExtAudioFileRef) const override
    {
        calls.push_back("dispose");
        return disposeStatus;
    }

private:
    mutable int m_anything = 0;
};

std::string prepareLine(const std::string& message)
{
    return "[CoreAudioDecoder:-[CoreAudioDecoder prepareWithPath:]-(N)] " + message;
}

PcmFormat prepared(const AudioStreamBasicDescription& format)
{
    FakeFunctions functions;
    functions.format = format;
    CoreAudioDecoder decoder(functions);
    EXPECT_TRUE(decoder.prepareWithPath(OpenedFile::at("/a")));
    return decoder.pcmFormat();
}

AudioStreamBasicDescription compressed(std::uint32_t id, std::uint32_t flags, std::uint32_t channels = 2)
{
    AudioStreamBasicDescription format;
    format.mSampleRate = 44100;
    format.mFormatID = id;
    format.mFormatFlags = flags;
    format.mChannelsPerFrame = channels;
    return format;
}

} // namespace

TEST(CoreAudioDecoder, PreparesByTheseCalls)
{
    FakeFunctions functions;
    {
        CoreAudioDecoder decoder(functions);
        EXPECT_TRUE(decoder.prepareWithPath(OpenedFile::at("/music/a.wav")));
        PcmFormat format = decoder.pcmFormat();
        EXPECT_EQ(format.samplerate, 44100);
        EXPECT_EQ(format.bitsperframe, 0);
        EXPECT_EQ(format.channels, 2);
        EXPECT_EQ(format.bitsperchannel, 16);
        EXPECT_EQ(format.bytespersample, 4);
        EXPECT_EQ(format.framecount, 1000);
    }
    EXPECT_THAT(functions.calls, ElementsAre("makeRef /music/a.wav", "open", "get ffmt 40", "get #frm 8", "dispose"));
}

TEST(CoreAudioDecoder, DepthsByFormat)
{
    EXPECT_EQ(prepared(compressed(kAudioFormatMPEGLayer3, 0)).bitsperchannel, 16);
    EXPECT_EQ(prepared(compressed(kAudioFormatMPEG4AAC, 2)).bitsperchannel, 16);
    auto alac = [](std::uint32_t flags) { return prepared(compressed(kAudioFormatAppleLossless, flags)); };
    EXPECT_EQ(alac(0).bitsperchannel, 16);
    EXPECT_EQ(alac(1).bitsperchannel, 16);
    EXPECT_EQ(alac(2).bitsperchannel, 20);
    EXPECT_EQ(alac(2).bytespersample, 5);
    EXPECT_EQ(alac(3).bitsperchannel, 24);
    EXPECT_EQ(alac(3).bytespersample, 6);
    EXPECT_EQ(alac(4).bitsperchannel, 32);
    EXPECT_EQ(alac(5).bitsperchannel, 16);
    EXPECT_EQ(prepared(linearPcm(8000, 1, 8, 0)).bytespersample, 1);
    EXPECT_EQ(prepared(linearPcm(8000, 6, 24, 4)).bytespersample, 18);
    auto twenty = compressed(kAudioFormatAppleLossless, 2, 1);
    EXPECT_EQ(prepared(twenty).bytespersample, 2); // 20 / 8, cut off
}

TEST(CoreAudioDecoder, RatesAreCutToWholeNumbers)
{
    EXPECT_EQ(prepared(linearPcm(44100.9, 2, 16, 4)).samplerate, 44100);
    EXPECT_EQ(prepared(linearPcm(-1.5, 2, 16, 4)).samplerate, -1);
    EXPECT_EQ(prepared(linearPcm(1e12, 2, 16, 4)).samplerate, 0);
}

TEST(CoreAudioDecoder, PreparingAgainClosesTheFormerFile)
{
    FakeFunctions functions;
    CoreAudioDecoder decoder(functions);
    EXPECT_TRUE(decoder.prepareWithPath(OpenedFile::at("/a")));
    functions.calls.clear();
    EXPECT_TRUE(decoder.prepareWithPath(OpenedFile::at("/b")));
    EXPECT_THAT(functions.calls, ElementsAre("dispose", "makeRef /b", "open", "get ffmt 40", "get #frm 8"));
}

TEST(CoreAudioDecoder, AFailedDisposalKeepsTheHandleAndFails)
{
    DebugGate gate(3);
    FakeFunctions functions;
    {
        CoreAudioDecoder decoder(functions);
        EXPECT_TRUE(decoder.prepareWithPath(OpenedFile::at("/a")));
        functions.calls.clear();
        functions.disposeStatus = Told;
        EXPECT_FALSE(decoder.prepareWithPath(OpenedFile::at("/b")));
        EXPECT_THAT(functions.calls, ElementsAre("dispose"));
        EXPECT_THAT(gate.lines(), ElementsAre(prepareLine("ExtAudioFileDispose failed: test")));
        functions.calls.clear();
    }
    EXPECT_THAT(functions.calls, ElementsAre("dispose")); // its result is ignored
}

TEST(CoreAudioDecoder, EachStepOfPreparingCanFail)
{
    struct Row {
        OSStatus FakeFunctions::*step;
        const char* message;
    };
    const Row rows[] {
        { &FakeFunctions::makeRefStatus, "FSPathMakeRef failed: test" },
        { &FakeFunctions::openStatus, "ExtAudioFileOpen failed: test" },
        { &FakeFunctions::formatStatus, "AudioFileGetProperty failed: test" },
        { &FakeFunctions::lengthStatus, "kExtAudioFileProperty_FileLengthFrames: test" },
    };
    for (const Row& row : rows) {
        DebugGate gate(3);
        FakeFunctions functions;
        functions.*row.step = Told;
        CoreAudioDecoder decoder(functions);
        EXPECT_FALSE(decoder.prepareWithPath(OpenedFile::at("/a")));
        EXPECT_THAT(gate.lines(), ElementsAre(prepareLine(row.message)));
    }
}

TEST(CoreAudioDecoder, TheFormatStaysWhenTheLengthFails)
{
    FakeFunctions functions;
    functions.lengthStatus = Told;
    CoreAudioDecoder decoder(functions);
    EXPECT_FALSE(decoder.prepareWithPath(OpenedFile::at("/a")));
    EXPECT_EQ(decoder.pcmFormat().samplerate, 44100);
    EXPECT_EQ(decoder.pcmFormat().bytespersample, 4);
    EXPECT_EQ(decoder.pcmFormat().framecount, 0);
}

TEST(CoreAudioDecoder, SaysNothingBelowLevelThree)
{
    DebugGate gate(2);
    FakeFunctions functions;
    functions.openStatus = Told;
    EXPECT_FALSE(CoreAudioDecoder(functions).prepareWithPath(OpenedFile::at("/a")));
    EXPECT_THAT(gate.lines(), IsEmpty());
}

TEST(CoreAudioDecoder, CanDecodeWhatOpensAndCloses)
{
    DebugGate gate(3);
    FakeFunctions functions;
    CoreAudioDecoder decoder(functions);
    functions.formatStatus = Told; // not judged
    EXPECT_TRUE(decoder.canDecodeWithPath(OpenedFile::at("/a")));
    EXPECT_THAT(functions.calls, ElementsAre("makeRef /a", "open", "get ffmt 40", "dispose"));
    functions.makeRefStatus = Told;
    EXPECT_FALSE(decoder.canDecodeWithPath(OpenedFile::at("/a")));
    EXPECT_THAT(gate.lines(), IsEmpty()); // deliberately silent
    functions.makeRefStatus = noErr;
    functions.openStatus = Told;
    EXPECT_FALSE(decoder.canDecodeWithPath(OpenedFile::at("/a")));
    functions.openStatus = noErr;
    functions.disposeStatus = Told;
    EXPECT_FALSE(decoder.canDecodeWithPath(OpenedFile::at("/a")));
    EXPECT_THAT(gate.lines(),
        ElementsAre("[CoreAudioDecoder:-[CoreAudioDecoder canDecodeWithPath:]-(N)] ExtAudioFileOpen failed: test",
            "[CoreAudioDecoder:-[CoreAudioDecoder canDecodeWithPath:]-(N)] ExtAudioFileDispose failed: test"));
}

TEST(CoreAudioDecoder, AssertsABuffer)
{
    LogCapture log;
    FakeFunctions functions;
    CoreAudioDecoder decoder(functions);
    auto reasonOf = [&](AudioBufferList* list) {
        try {
            decoder.readPCMSampleCount(list, 1);
        } catch (const NSException& raised) {
            return raised.name() + ": " + raised.reason();
        }
        return std::string("nothing");
    };
    AudioBufferList none;
    EXPECT_EQ(reasonOf(nullptr), "NSInternalInconsistencyException: buffer is NULL");
    EXPECT_EQ(reasonOf(&none), "NSInternalInconsistencyException: buffer count is 0");
    ASSERT_EQ(log.lines().size(), 2u);
    EXPECT_THAT(log.lines()[0],
        testing::StartsWith(
            "*** Assertion failure in -[CoreAudioDecoder readPCM:sampleCount:], CoreAudioDecoder.cpp:"));
}

TEST(CoreAudioDecoder, ReadsIntoABufferThatIsJustLargeEnough)
{
    DebugGate gate(3);
    FakeFunctions functions;
    CoreAudioDecoder decoder(functions);
    ASSERT_TRUE(decoder.prepareWithPath(OpenedFile::at("/a")));
    functions.calls.clear();
    functions.framesToGive = 7;
    char memory[400];
    AudioBufferList list { 1, { { 2, 400, memory } } };
    EXPECT_EQ(decoder.readPCMSampleCount(&list, 100), 7);
    functions.framesToGive = 0;
    EXPECT_EQ(decoder.readPCMSampleCount(&list, 100), 0);
    EXPECT_THAT(functions.calls, ElementsAre("read 100", "read 100"));
    list.mBuffers[0].mDataByteSize = 399;
    EXPECT_EQ(decoder.readPCMSampleCount(&list, 100), -1);
    EXPECT_EQ(functions.calls.size(), 2u); // not asked
    // The labels are crossed: the request stands at "buffersize".
    EXPECT_THAT(gate.lines(),
        ElementsAre("[CoreAudioDecoder:-[CoreAudioDecoder readPCM:sampleCount:]-(N)] the size of buffer is smaller "
                    "than your request, buffersize(400), requestSize(399)"));
}

TEST(CoreAudioDecoder, AFailedReadIsMinusOne)
{
    DebugGate gate(3);
    FakeFunctions functions;
    CoreAudioDecoder decoder(functions);
    ASSERT_TRUE(decoder.prepareWithPath(OpenedFile::at("/a")));
    functions.readStatus = Told;
    char memory[400];
    AudioBufferList list { 1, { { 2, 400, memory } } };
    EXPECT_EQ(decoder.readPCMSampleCount(&list, 100), -1);
    EXPECT_THAT(gate.lines(),
        ElementsAre("[CoreAudioDecoder:-[CoreAudioDecoder readPCM:sampleCount:]-(N)] failed to ExtAudioFileRead: "
                    "test"));
}

TEST(CoreAudioDecoder, ExactStereoIsAClientFormatOfTwoWholeChannels)
{
    FakeFunctions functions;
    functions.format = linearPcm(48000, 6, 24, kAudioFormatFlagIsSignedInteger);
    CoreAudioDecoder decoder(functions);
    ASSERT_TRUE(decoder.prepareWithPath(OpenedFile::at("/a")));
    ASSERT_TRUE(decoder.deliverExactStereo());
    EXPECT_EQ(functions.clientSet, linearPcm(48000, 2, 32, kAudioFormatFlagIsSignedInteger));
    EXPECT_EQ(decoder.pcmFormat().bytespersample, 8);
    EXPECT_EQ(decoder.pcmFormat().channels, 6);
    functions.setStatus = Told;
    EXPECT_FALSE(decoder.deliverExactStereo());
}

TEST(CoreAudioDecoder, RealFiles)
{
    DebugGate gate(3);
    ScratchFolder scratch;
    CoreAudioDecoder decoder;
    EXPECT_FALSE(decoder.prepareWithPath(OpenedFile::at(scratch.file("missing.wav"))));
    EXPECT_FALSE(decoder.prepareWithPath(OpenedFile::at(scratch.write("text.mp3", "no sound"))));
    EXPECT_FALSE(decoder.prepareWithPath(OpenedFile()));
    EXPECT_FALSE(decoder.canDecodeWithPath(OpenedFile::at(scratch.file("text.mp3"))));
    EXPECT_THAT(gate.lines(),
        ElementsAre(prepareLine("FSPathMakeRef failed: \xC3\xBF\xC3\xBF\xC3\xBF\xC3\x95"), // -43
            prepareLine("ExtAudioFileOpen failed: typ?"),
            prepareLine("FSPathMakeRef failed: \xC3\xBF\xC3\xBF\xC3\xBF\xC3\x8E"), // -50
            "[CoreAudioDecoder:-[CoreAudioDecoder canDecodeWithPath:]-(N)] ExtAudioFileOpen failed: typ?"));
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not installed";
    std::string path = scratch.file("a.m4a");
    ASSERT_EQ(run("ffmpeg -v error -f lavfi -i sine=d=0.2:r=44100 -ac 2 -c:a aac " + test::shellQuoted(path)), 0);
    EXPECT_TRUE(decoder.canDecodeWithPath(OpenedFile::at(path)));
    ASSERT_TRUE(decoder.prepareWithPath(OpenedFile::at(path)));
    PcmFormat format = decoder.pcmFormat();
    EXPECT_EQ(format.bitsperchannel, 16);
    EXPECT_EQ(format.bytespersample, 4);
    EXPECT_EQ(format.framecount, 8820);
    std::vector<char> memory(4608);
    std::int64_t total = 0;
    for (std::int32_t frames = 1; frames > 0; total += std::max(frames, 0)) {
        AudioBufferList list { 1, { { 2, 4608, memory.data() } } };
        frames = decoder.readPCMSampleCount(&list, 1152);
        EXPECT_GE(frames, 0);
        EXPECT_EQ(list.mBuffers[0].mDataByteSize, static_cast<std::uint32_t>(frames) * 4);
    }
    EXPECT_EQ(total, 8820);
}

TEST(MVAudioDecoder, IsAPlaceholder)
{
    class Plain final : public MVAudioDecoder {
    } decoder;
    EXPECT_FALSE(decoder.canDecodeWithPath(OpenedFile::at("/a")));
    EXPECT_FALSE(decoder.prepareWithPath(OpenedFile::at("/a")));
    EXPECT_FALSE(decoder.deliverExactStereo());
    EXPECT_EQ(decoder.readPCMSampleCount(nullptr, 1), 0);
    EXPECT_EQ(decoder.pcmFormat().samplerate, 0);
}
