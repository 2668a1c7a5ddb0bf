#include "platform/ExtAudioFile.h"

#include "audio/AudioFileReader.h"
#include "tests/audio/FakeAudio.h"
#include "tests/support/Scratch.h"

#include <gmock/gmock.h>

using namespace mv;
using namespace mv::test;
using testing::ElementsAre;

namespace {

/// Hands out the one source that a test prepared, while it lives.
class OneSource final : public AudioBackend {
public:
    OneSource() { setAudioBackendForTesting(this); }
    ~OneSource() override { setAudioBackendForTesting(nullptr); }

    std::unique_ptr<FakeSource> source = std::make_unique<FakeSource>();
    OSStatus refusal = noErr;

    Result<std::unique_ptr<AudioSource>> openSource(SharedSource) override
    {
        if (refusal != noErr)
            return Error { Error::Kind::Format, "as told", refusal };
        return std::unique_ptr<AudioSource>(std::move(source));
    }
};

OpenedFile anyFile() { return { "/any", FileAttributes {}, sourceOfBytes({}) }; }

struct OpenFile {
    ExtAudioFileRef handle = nullptr;
    OpenFile() { EXPECT_EQ(ExtAudioFileOpenURL(anyFile(), &handle), noErr); }
    ~OpenFile() { EXPECT_EQ(ExtAudioFileDispose(handle), noErr); }
};

void addRun(FakeSource& source, const std::vector<std::int16_t>& samples)
{
    source.runs.push_back({ static_cast<std::uint32_t>(samples.size()), { bytesOfValues(samples) } });
}

void announce(FakeSource& source, std::int64_t frames)
{
    source.announced = { linearPcm(44100, 1, 16, kAudioFormatFlagIsSignedInteger), 0, frames };
}

struct ReadResult {
    OSStatus status;
    std::uint32_t frames;
    std::uint32_t bytes;
    std::vector<std::int16_t> samples;
};

ReadResult readFrames(ExtAudioFileRef file, std::uint32_t frames, std::uint32_t room)
{
    std::vector<std::int16_t> samples(room / 2 + 1, 99);
    AudioBufferList list { 1, { { 1, room, samples.data() } } };
    OSStatus status = ExtAudioFileRead(file, &frames, &list);
    samples.resize(frames);
    return { status, frames, list.mBuffers[0].mDataByteSize, samples };
}

} // namespace

TEST(ExtAudioFile, ReadsAcrossRunsAndEndsAtTheAnnouncedLength)
{
    OneSource backend;
    announce(*backend.source, 6);
    addRun(*backend.source, { 1, 2, 3 });
    addRun(*backend.source, { 4, 5, 6, 7, 8 });
    OpenFile file;
    auto first = readFrames(file.handle, 2, 100);
    EXPECT_THAT(first.samples, ElementsAre(1, 2));
    EXPECT_EQ(first.bytes, 4u);
    EXPECT_THAT(readFrames(file.handle, 3, 100).samples, ElementsAre(3, 4, 5));
    EXPECT_THAT(readFrames(file.handle, 3, 100).samples, ElementsAre(6)); // 7 and 8 lie in the gap at the end
    auto end = readFrames(file.handle, 3, 100);
    EXPECT_EQ(end.status, noErr);
    EXPECT_EQ(end.frames, 0u);
    EXPECT_EQ(end.bytes, 0u);
}

TEST(ExtAudioFile, WhatIsMissingAtTheEndIsSilence)
{
    OneSource backend;
    announce(*backend.source, 6);
    addRun(*backend.source, { 1, 2, 3 });
    OpenFile file;
    EXPECT_THAT(readFrames(file.handle, 4, 100).samples, ElementsAre(1, 2, 3, 0));
    EXPECT_THAT(readFrames(file.handle, 4, 100).samples, ElementsAre(0, 0));
    EXPECT_EQ(readFrames(file.handle, 4, 100).frames, 0u);
}

TEST(ExtAudioFile, ReadsNoMoreThanTheBufferHolds)
{
    OneSource backend;
    announce(*backend.source, 3);
    addRun(*backend.source, { 1, 2, 3 });
    OpenFile file;
    EXPECT_THAT(readFrames(file.handle, 3, 5).samples, ElementsAre(1, 2));
    EXPECT_THAT(readFrames(file.handle, 3, 1).samples, ElementsAre());
}

TEST(ExtAudioFile, AFailureComesAfterWhatWasDecodedAndStays)
{
    OneSource backend;
    announce(*backend.source, 100);
    addRun(*backend.source, { 1, 2 });
    backend.source->failure = ioErr;
    OpenFile file;
    auto before = readFrames(file.handle, 5, 100);
    EXPECT_EQ(before.status, noErr);
    EXPECT_THAT(before.samples, ElementsAre(1, 2));
    for (int i = 0; i < 2; ++i) {
        auto failed = readFrames(file.handle, 5, 100);
        EXPECT_EQ(failed.status, ioErr);
        EXPECT_EQ(failed.frames, 0u);
        EXPECT_EQ(failed.bytes, 0u);
    }
}

TEST(ExtAudioFile, ASourceThatChangesItsChannelsHasFailed)
{
    OneSource backend;
    announce(*backend.source, 4);
    addRun(*backend.source, { 1, 2 });
    backend.source->announced.description.mChannelsPerFrame = 1;
    backend.source->channelsGiven = 2;
    OpenFile file;
    EXPECT_EQ(readFrames(file.handle, 2, 100).status, kAudioFileInvalidFileError);
}

TEST(ExtAudioFile, TellsItsProperties)
{
    OneSource backend;
    announce(*backend.source, std::int64_t { 1 } << 40);
    OpenFile file;
    std::int64_t frames = 0;
    std::uint32_t size = 100;
    EXPECT_EQ(ExtAudioFileGetProperty(file.handle, kExtAudioFileProperty_FileLengthFrames, &size, &frames), noErr);
    EXPECT_EQ(frames, std::int64_t { 1 } << 40);
    EXPECT_EQ(size, 8u);
    AudioStreamBasicDescription format;
    size = 40;
    EXPECT_EQ(ExtAudioFileGetProperty(file.handle, kExtAudioFileProperty_FileDataFormat, &size, &format), noErr);
    EXPECT_EQ(format, linearPcm(44100, 1, 16, kAudioFormatFlagIsSignedInteger));
    EXPECT_EQ(size, 40u);
    AudioConverterRef converter = nullptr;
    size = sizeof converter;
    EXPECT_EQ(ExtAudioFileGetProperty(file.handle, kExtAudioFileProperty_AudioConverter, &size, &converter), noErr);
    std::uint32_t rate = 128000;
    EXPECT_EQ(AudioConverterSetProperty(converter, kAudioConverterEncodeBitRate, sizeof rate, &rate),
        kAudioConverterErr_PropertyNotSupported);
    size = 39;
    EXPECT_EQ(ExtAudioFileGetProperty(file.handle, kExtAudioFileProperty_FileDataFormat, &size, &format),
        kExtAudioFileError_InvalidPropertySize);
    size = 40;
    EXPECT_EQ(ExtAudioFileGetProperty(file.handle, fourCC("none"), &size, &format), kExtAudioFileError_InvalidProperty);
}

TEST(ExtAudioFile, TheClientFormatCanBeSetUntilTheFirstFrame)
{
    OneSource backend;
    announce(*backend.source, 2);
    addRun(*backend.source, { 16384, -32768 });
    OpenFile file;
    auto wanted = linearPcm(0, 1, 32, kAudioFormatFlagIsFloat); // rate 0 is the file's
    auto set = [&] {
        return ExtAudioFileSetProperty(file.handle, kExtAudioFileProperty_ClientDataFormat, sizeof wanted, &wanted);
    };
    ASSERT_EQ(set(), noErr);
    AudioStreamBasicDescription now;
    std::uint32_t size = sizeof now;
    EXPECT_EQ(ExtAudioFileGetProperty(file.handle, kExtAudioFileProperty_ClientDataFormat, &size, &now), noErr);
    EXPECT_EQ(now, linearPcm(44100, 1, 32, kAudioFormatFlagIsFloat));
    std::vector<float> samples(4);
    AudioBufferList list { 1, { { 1, 16, samples.data() } } };
    std::uint32_t frames = 4;
    EXPECT_EQ(ExtAudioFileRead(file.handle, &frames, &list), noErr);
    EXPECT_EQ(frames, 2u);
    EXPECT_THAT(samples, ElementsAre(0.5f, -1.0f, 0.0f, 0.0f));
    EXPECT_EQ(set(), kExtAudioFileError_InvalidOperationOrder);
    EXPECT_EQ(ExtAudioFileSetProperty(file.handle, kExtAudioFileProperty_ClientDataFormat, 39, &wanted),
        kExtAudioFileError_InvalidPropertySize);
    EXPECT_EQ(ExtAudioFileSetProperty(file.handle, kExtAudioFileProperty_FileDataFormat, sizeof wanted, &wanted),
        kExtAudioFileError_InvalidProperty);
}

TEST(ExtAudioFile, RefusesNullArguments)
{
    ExtAudioFileRef handle = nullptr;
    EXPECT_EQ(ExtAudioFileOpenURL(OpenedFile(), &handle), paramErr);
    EXPECT_EQ(ExtAudioFileOpenURL(anyFile(), nullptr), paramErr);
    EXPECT_EQ(ExtAudioFileDispose(nullptr), paramErr);
    std::uint32_t value = 0;
    EXPECT_EQ(ExtAudioFileGetProperty(nullptr, kExtAudioFileProperty_FileLengthFrames, &value, &value), paramErr);
    EXPECT_EQ(ExtAudioFileSetProperty(nullptr, kExtAudioFileProperty_ClientDataFormat, 40, &value), paramErr);
    AudioBufferList list { 1, { { 1, 0, nullptr } } };
    EXPECT_EQ(ExtAudioFileRead(nullptr, &value, &list), paramErr);
    EXPECT_EQ(AudioConverterSetProperty(nullptr, kAudioConverterEncodeBitRate, 4, &value), paramErr);
    OneSource backend;
    announce(*backend.source, 1);
    OpenFile file;
    EXPECT_EQ(ExtAudioFileRead(file.handle, &value, &list), paramErr);
    list.mNumberBuffers = 0;
    EXPECT_EQ(ExtAudioFileRead(file.handle, &value, &list), paramErr);
}

TEST(ExtAudioFile, OpeningFailsWithTheBackendsStatusAndNoHandle)
{
    OneSource backend;
    backend.refusal = kAudioFileUnsupportedDataFormatError;
    int any = 0;
    auto handle = reinterpret_cast<ExtAudioFileRef>(&any);
    EXPECT_EQ(ExtAudioFileOpen({ anyFile(), nullptr }, &handle), kAudioFileUnsupportedDataFormatError);
    EXPECT_EQ(handle, nullptr);
}

TEST(ExtAudioFile, DefaultClientFormats)
{
    auto lossless = [](std::uint32_t id, std::uint32_t flags, std::uint32_t bits) {
        AudioStreamBasicDescription format;
        format.mSampleRate = 44100;
        format.mFormatID = id;
        format.mFormatFlags = flags;
        format.mChannelsPerFrame = 2;
        format.mBitsPerChannel = bits;
        return defaultClientFormat(format);
    };
    constexpr std::uint32_t Signed = kAudioFormatFlagIsSignedInteger;
    auto sixteen = linearPcm(44100, 2, 16, Signed);
    auto twentyFour = linearPcm(44100, 2, 24, Signed | kAudioFormatFlagIsBigEndian);
    auto thirtyTwo = linearPcm(44100, 2, 32, Signed);
    EXPECT_EQ(lossless(kAudioFormatMPEGLayer3, 0, 0), sixteen);
    EXPECT_EQ(lossless(kAudioFormatAppleLossless, 1, 0), sixteen);
    EXPECT_EQ(lossless(kAudioFormatAppleLossless, 2, 0), twentyFour);
    EXPECT_EQ(lossless(kAudioFormatAppleLossless, 3, 0), twentyFour);
    EXPECT_EQ(lossless(kAudioFormatAppleLossless, 4, 0), thirtyTwo);
    EXPECT_EQ(lossless(kAudioFormatAppleLossless, 9, 0), sixteen);
    EXPECT_EQ(lossless(kAudioFormatFLAC, 3, 24), twentyFour);
    EXPECT_EQ(defaultClientFormat(linearPcm(44100, 2, 8, 0)), linearPcm(44100, 2, 8, Signed));
    EXPECT_EQ(defaultClientFormat(linearPcm(44100, 2, 32, kAudioFormatFlagIsFloat)), thirtyTwo);
    EXPECT_EQ(defaultClientFormat(linearPcm(44100, 2, 24, Signed)), twentyFour);
}

TEST(ExtAudioFile, StatusesAsText)
{
    EXPECT_EQ(UTCreateStringForOSType(kAudioFileUnsupportedFileTypeError), "typ?");
    EXPECT_EQ(UTCreateStringForOSType(kAudioFileUnsupportedDataFormatError), "fmt?");
    EXPECT_EQ(UTCreateStringForOSType(kAudioFileInvalidFileError), "dta?");
    EXPECT_EQ(fnfErr, -43);
    EXPECT_EQ(permErr, -54);
}
