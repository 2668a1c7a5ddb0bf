#include "service/transcode/MVExtAudioFile.h"

#include "tests/service/transcode/FakeAudioFiles.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace mv::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MVExtAudioFileTest : public testing::Test {
protected:
    std::unique_ptr<MVExtAudioFile> open()
    {
        auto file = MVExtAudioFile::initWithFileToOpen(OpenedFile::at("/music/song.wav"), m_files);
        EXPECT_TRUE(file.ok());
        return file ? std::move(*file) : nullptr;
    }
    std::unique_ptr<MVExtAudioFile> create()
    {
        AudioStreamBasicDescription description;
        description.mSampleRate = m_files.rate;
        description.mFormatID = kAudioFormatMPEG4AAC;
        description.mChannelsPerFrame = m_files.channels;
        auto file = MVExtAudioFile::initWithFileToCreateFileTypeStreamDescription(
            *OutputPlace::at("/music/new.m4a"), kAudioFileM4AType, description, m_files);
        EXPECT_TRUE(file.ok());
        return file ? std::move(*file) : nullptr;
    }

    FakeAudioFiles m_files;
    LogCapture m_log;
};

TEST_F(MVExtAudioFileTest, OpeningReadsRateChannelsAndName)
{
    m_files.rate = 22050;
    m_files.channels = 1;
    auto file = open();
    EXPECT_EQ(file->sampleRate(), 22050);
    EXPECT_EQ(file->numberChannels(), 1u);
    EXPECT_EQ(file->filename(), "song.wav");
    EXPECT_EQ(file->lastError(), noErr);
    EXPECT_THAT(m_files.calls, ElementsAre("open /music/song.wav", "get ffmt source"));
    file.reset();
    EXPECT_EQ(m_files.calls.back(), "dispose source");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(MVExtAudioFileTest, FailedOpeningIsLoggedAndHandsOutNothing)
{
    m_files.failures["open /music/song.wav"] = fnfErr;
    auto file = MVExtAudioFile::initWithFileToOpen(OpenedFile::at("/music/song.wav"), m_files);
    ASSERT_FALSE(file.ok());
    EXPECT_EQ(file.error().code, -43);
    EXPECT_THAT(m_log.lines(), ElementsAre("ExtAudioFileOpenURL fail -43"));
    EXPECT_THAT(m_files.calls, ElementsAre("open /music/song.wav"));
}

TEST_F(MVExtAudioFileTest, CreatingTakesRateAndChannelsFromTheDescription)
{
    auto file = create();
    EXPECT_EQ(file->sampleRate(), 44100);
    EXPECT_EQ(file->numberChannels(), 2u);
    EXPECT_EQ(file->filename(), "new.m4a");
    EXPECT_EQ(m_files.fileType, 0x6D346166u); // 'm4af'
    EXPECT_EQ(m_files.flags, 1u); // erases an existing file
    EXPECT_EQ(m_files.created.mFormatID, 0x61616320u); // 'aac '
    EXPECT_THAT(m_files.calls, ElementsAre("create /music/new.m4a"));
}

TEST_F(MVExtAudioFileTest, FailedCreatingIsLoggedAndHandsOutNothing)
{
    m_files.failures["create /music/new.m4a"] = permErr;
    auto file = MVExtAudioFile::initWithFileToCreateFileTypeStreamDescription(
        *OutputPlace::at("/music/new.m4a"), kAudioFileM4AType, {}, m_files);
    ASSERT_FALSE(file.ok());
    EXPECT_EQ(file.error().code, -54);
    EXPECT_THAT(m_log.lines(), ElementsAre("ExtAudioFileCreateWithURL fail -54"));
}

TEST_F(MVExtAudioFileTest, CanonicalFormatOfStereo)
{
    auto format = open()->canonicalDataFormat();
    EXPECT_EQ(format.mSampleRate, 44100);
    EXPECT_EQ(format.mFormatID, 0x6C70636Du); // 'lpcm'
    EXPECT_EQ(format.mFormatFlags, 9u);
    EXPECT_EQ(format.mBytesPerPacket, 8u);
    EXPECT_EQ(format.mFramesPerPacket, 1u);
    EXPECT_EQ(format.mBytesPerFrame, 8u);
    EXPECT_EQ(format.mChannelsPerFrame, 2u);
    EXPECT_EQ(format.mBitsPerChannel, 32u);
    EXPECT_EQ(format.mReserved, 0u);
}

TEST_F(MVExtAudioFileTest, CanonicalFormatFollowsTheFields)
{
    auto file = open();
    file->setSampleRate(8000);
    file->setNumberChannels(6);
    EXPECT_EQ(file->canonicalDataFormat().mSampleRate, 8000);
    EXPECT_EQ(file->canonicalDataFormat().mBytesPerFrame, 24u);
    EXPECT_EQ(file->canonicalDataFormat().mBytesPerPacket, 24u);
    file->setFilename("other");
    EXPECT_EQ(file->filename(), "other");
    file->setLastError(7);
    EXPECT_EQ(file->lastError(), 7);
}

// Every operation that fails: its status is the last error, and its text is logged once.
TEST_F(MVExtAudioFileTest, EveryFailureHasItsText)
{
    struct Row {
        const char* call;
        std::function<void(MVExtAudioFile&)> operation;
        const char* text;
    };
    Bytes frame(8);
    const std::vector<Row> rows {
        { "get acnv source", [](auto& f) { f.audioConverter(); },
            "ExtAudioFileGetProperty (kExtAudioFileProperty_AudioConverter) fail 5" },
        { "get cfmt source", [](auto& f) { f.clientDataFormat(); },
            "ExtAudioFileGetProperty (kExtAudioFileProperty_ClientDataFormat) fail 5" },
        { "get #frm source", [](auto& f) { f.totalFrame(); },
            "ExtAudioFileGetProperty (kExtAudioFileProperty_FileLengthFrames) fail 5" },
        { "get ffmt source", [](auto& f) { f.fileDataFormat(); },
            "ExtAudioFileGetProperty (kExtAudioFileProperty_FileDataFormat) fail 5" },
        { "set cfmt source", [](auto& f) { f.setClientDataFormat({}); },
            "ExtAudioFileSetProperty (kExtAudioFileProperty_ClientDataFormat) fail 5" },
        { "converter brat", [](auto& f) { f.setBitRate(64000); },
            "ExtAudioFileSetProperty (kAudioConverterEncodeBitRate) fail 5" },
        { "read source", [](auto& f) { f.readDataWithNumberFrames(1); }, "ExtAudioFileRead fail 5" },
        { "write source", [&frame](auto& f) { f.writeData(frame); }, "ExtAudioFileWrite () error 5" },
    };
    for (const Row& row : rows) {
        auto file = open();
        m_files.failures = { { row.call, 5 } };
        LogCapture log;
        row.operation(*file);
        EXPECT_EQ(file->lastError(), 5) << row.text;
        EXPECT_THAT(log.lines(), ElementsAre(row.text));
        m_files.failures.clear();
        row.operation(*file);
        EXPECT_EQ(file->lastError(), 0) << row.text;
        EXPECT_EQ(log.lines().size(), 1u);
    }
}

TEST_F(MVExtAudioFileTest, WhatCouldNotBeReadIsEmpty)
{
    m_files.total = 5;
    auto file = open();
    m_files.failures = { { "get acnv source", 5 }, { "get cfmt source", 5 }, { "get #frm source", 5 } };
    EXPECT_EQ(file->audioConverter(), nullptr);
    EXPECT_EQ(file->clientDataFormat(), AudioStreamBasicDescription {});
    EXPECT_EQ(file->totalFrame(), 0);
}

TEST_F(MVExtAudioFileTest, PropertiesAreHandedOut)
{
    m_files.total = 1'234'567'890'123;
    auto file = open();
    EXPECT_EQ(file->totalFrame(), 1'234'567'890'123);
    EXPECT_EQ(file->audioConverter(), FakeAudioFiles::Converter);
    EXPECT_EQ(file->fileDataFormat().mSampleRate, 44100);
    file->setClientDataFormat(file->canonicalDataFormat());
    EXPECT_EQ(file->clientDataFormat(), file->canonicalDataFormat());
    file->setBitRate(96000);
    EXPECT_EQ(m_files.bitRate, 96000u);
}

TEST_F(MVExtAudioFileTest, WithoutAConverterThereIsNoBitRateToSet)
{
    auto file = open();
    m_files.failures["get acnv source"] = 9;
    m_files.calls.clear();
    file->setBitRate(96000);
    EXPECT_EQ(file->lastError(), 9);
    EXPECT_THAT(m_files.calls, ElementsAre("get acnv source"));
    EXPECT_THAT(m_log.lines(), ElementsAre("ExtAudioFileGetProperty (kExtAudioFileProperty_AudioConverter) fail 9"));
}

TEST_F(MVExtAudioFileTest, ReadingIsShortAtTheEndAndEmptyAfterIt)
{
    m_files.available = 3000;
    auto file = open();
    EXPECT_EQ(file->readDataWithNumberFrames(2048).size(), 16384u);
    EXPECT_EQ(file->readDataWithNumberFrames(2048).size(), 952u * 8);
    EXPECT_TRUE(file->readDataWithNumberFrames(2048).empty());
    EXPECT_EQ(file->lastError(), noErr);
}

// Deliberate: the buffer keeps the size that was asked for.
TEST_F(MVExtAudioFileTest, FailedReadingGivesZeros)
{
    m_files.available = 3000;
    m_files.reads = { ioErr };
    auto file = open();
    EXPECT_EQ(file->readDataWithNumberFrames(100), Bytes(800));
    EXPECT_EQ(file->lastError(), ioErr);
    EXPECT_EQ(file->readDataWithNumberFrames(1), Bytes(8, 0x41));
    EXPECT_EQ(file->lastError(), noErr);
}

TEST_F(MVExtAudioFileTest, PartOfAFrameIsNotWritten)
{
    auto file = create();
    file->writeData(Bytes { 1, 2, 3, 4, 5, 6, 7, 8, 9, 10 });
    EXPECT_EQ(m_files.written, (std::vector<Bytes> { { 1, 2, 3, 4, 5, 6, 7, 8 } }));
}

TEST_F(MVExtAudioFileTest, LessThanAFrameIsNothing)
{
    auto file = create();
    file->setLastError(17);
    file->writeData(Bytes(7));
    file->writeData({});
    EXPECT_EQ(file->lastError(), 17);
    EXPECT_TRUE(m_files.written.empty());
}

TEST_F(MVExtAudioFileTest, ClosesOnce)
{
    auto file = create();
    file->close();
    file->close();
    file.reset();
    EXPECT_EQ(m_files.count("dispose destination"), 1u);
}

TEST_F(MVExtAudioFileTest, TellsWhenAFileCannotBeFinished)
{
    auto file = create();
    m_files.failures["dispose destination"] = dskFulErr;
    file->close();
    EXPECT_EQ(file->lastError(), -34);
}

TEST_F(MVExtAudioFileTest, RealFilesThereAndBack)
{
    ScratchFolder scratch;
    std::string wav = scratch.file("a.wav");
    outputOf("ffmpeg -v error -f lavfi -i sine=d=0.1:r=44100 -ac 2 -y " + mv::test::shellQuoted(wav));
    auto source = std::move(MVExtAudioFile::initWithFileToOpen(OpenedFile::at(wav))).value();
    EXPECT_EQ(source->totalFrame(), 4410);
    source->setClientDataFormat(source->canonicalDataFormat());
    std::string m4a = scratch.write("b.m4a", "an older file");
    AudioStreamBasicDescription description;
    description.mSampleRate = 44100;
    description.mFormatID = kAudioFormatMPEG4AAC;
    description.mChannelsPerFrame = 2;
    auto target = std::move(MVExtAudioFile::initWithFileToCreateFileTypeStreamDescription(
                                *OutputPlace::at(m4a), kAudioFileM4AType, description))
                      .value();
    target->setClientDataFormat(target->canonicalDataFormat());
    EXPECT_EQ(target->lastError(), noErr);
    for (Bytes block = source->readDataWithNumberFrames(2048); !block.empty();
         block = source->readDataWithNumberFrames(2048))
        target->writeData(block);
    EXPECT_EQ(target->lastError(), noErr);
    target.reset();
    auto again = std::move(MVExtAudioFile::initWithFileToOpen(OpenedFile::at(m4a))).value();
    EXPECT_EQ(again->totalFrame(), 4410);
    EXPECT_EQ(again->fileDataFormat().mFormatID, kAudioFormatMPEG4AAC);
}

} // namespace
} // namespace mv::test
