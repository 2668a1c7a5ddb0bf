#include "Base/Core/NSException.h"
#include "Base/Core/OSStatus.h"
#include "service/include/MVAudioEncoderBase.h"
#include "tests/service/isolated/WritingFixture.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/Mp4Maker.h"

// Every writing operation in a worker: files, answers and what delegates hear are those of the same operation here.

namespace mv {
namespace {

using test::NotingDelegate;
using test::NotingListener;
using test::tagRecord;
using test::updatedHere;
using test::WorkerSide;

class WritingBrokerTest : public test::WritingFixture, public testing::WithParamInterface<WorkerSide> {
protected:
    void SetUp() override
    {
        side = GetParam();
        if (side == WorkerSide::Closed)
            MV_NEEDS_CLOSED_PROCESSES();
    }
};

TEST_P(WritingBrokerTest, UpdatesTagsAsHere)
{
    test::Mp4Spec withRoom { .padding = 4096 };
    test::Mp4Spec withoutRoom { .media = Bytes(300'000, 0xA5) };
    const std::pair<std::int32_t, std::string> files[] = {
        { MVMediaTypeMP3, scratch.write("bare.mp3", test::mpegFrames(200)) },
        { MVMediaTypeMP3,
            scratch.write("old.mp3",
                test::id3Tag(3, test::id3Frame(3, "TIT2", test::zeroed("\0old")), 0, 4000) + test::mpegFrames(200)) },
        { MVMediaTypeM4A, scratch.write("room.m4a", test::makeMp4(withRoom).bytes) },
        { MVMediaTypeM4A, scratch.write("shift.m4a", test::makeMp4(withoutRoom).bytes) },
        { MVMediaTypeM4A, scratch.write("none.m4a", "this is no movie") },
        { MVMediaTypeUnknown, scratch.write("other.txt", "text") },
    };
    for (const auto& [type, path] : files) {
        for (std::size_t picture : { std::size_t { 0 }, std::size_t { 700 }, std::size_t { 9 } << 20 }) {
            std::string here = scratch.copy(path, "here");
            std::string there = scratch.copy(path, "there");
            Record record = tagRecord(type, picture);
            bool expected = updatedHere(here, record);
            WritingAnswer given = update(there, record);
            ASSERT_TRUE(std::holds_alternative<bool>(given)) << path;
            EXPECT_EQ(std::get<bool>(given), expected) << path;
            EXPECT_EQ(test::readFile(there), test::readFile(here)) << path << " with " << picture;
        }
    }
    EXPECT_EQ(names().size(), 8u) << "something was left behind";
}

TEST_P(WritingBrokerTest, AFileThatIsNotThereIsNotUpdated)
{
    for (std::int32_t type : { MVMediaTypeMP3, MVMediaTypeM4A })
        EXPECT_EQ(update(scratch.file("none.mp3"), tagRecord(type)), WritingAnswer(false));
    EXPECT_TRUE(names().empty());
}

TEST_P(WritingBrokerTest, WhatARecordRaisesIsRaised)
{
    Record record = tagRecord(MVMediaTypeMP3);
    record.set(MediaDBMusicColumnTrackNo, NullObject {});
    std::string path = scratch.write("a.mp3", test::mpegFrames(10));
    Bytes before = test::readFile(path);
    RaisedException here;
    try {
        updatedHere(path, record);
    } catch (const NSException& raised) {
        here = { raised.name(), raised.reason() };
    }
    EXPECT_EQ(here.name, NSInvalidArgumentException);
    EXPECT_EQ(update(path, record), WritingAnswer(here));
    EXPECT_EQ(test::readFile(path), before);
}

TEST_P(WritingBrokerTest, ARecordOfManyKeysAndOddTextsArrives)
{
    Record record = tagRecord(MVMediaTypeMP3);
    record.set(MediaDBMusicColumnAlbum, std::string("broken \xFF and ") + std::string("cut\0off", 7));
    for (int i = 0; i < 3000; ++i)
        record.set(std::string(300, 'k') + std::to_string(i), i);
    std::string here = scratch.write("here", test::mpegFrames(10));
    std::string there = scratch.write("there", test::mpegFrames(10));
    EXPECT_TRUE(updatedHere(here, record));
    EXPECT_EQ(update(there, record), WritingAnswer(true));
    EXPECT_EQ(test::readFile(there), test::readFile(here));
}

TEST_P(WritingBrokerTest, AFileWithSeveralNamesIsRewrittenInPlace)
{
    std::string path = scratch.write("a.mp3", test::mpegFrames(300));
    std::filesystem::create_hard_link(path, scratch.file("b.mp3"));
    std::string here = scratch.copy(path, "here.mp3");
    EXPECT_EQ(update(path, tagRecord(MVMediaTypeMP3)), WritingAnswer(true));
    updatedHere(here, tagRecord(MVMediaTypeMP3));
    EXPECT_EQ(test::readFile(scratch.file("b.mp3")), test::readFile(here));
    EXPECT_EQ(names().size(), 3u);
}

// The largest that a call can bring, to a worker with the least memory.
TEST_P(WritingBrokerTest, ALargePictureIsWrittenAsHere)
{
    kind = WorkerKind::Light;
    constexpr std::size_t Length = (std::size_t { 64 } << 20) - 1024;
    for (std::int32_t type : { MVMediaTypeMP3, MVMediaTypeM4A }) {
        bool isMp3 = type == MVMediaTypeMP3;
        std::string here
            = isMp3 ? scratch.write("here", test::mpegFrames(10)) : scratch.write("here", test::makeMp4({}).bytes);
        std::string there = scratch.copy(here, "there");
        // Also over one that is there already.
        for (std::size_t length : { Length, Length - 1 }) {
            Record record = tagRecord(type, length);
            EXPECT_TRUE(updatedHere(here, record));
            EXPECT_EQ(update(there, record), WritingAnswer(true));
            EXPECT_TRUE(test::readFile(there) == test::readFile(here));
            EXPECT_EQ(test::readFile(there).size() > length, isMp3) << "covers of MPEG-4 files are made anew";
        }
    }
}

TEST_P(WritingBrokerTest, EncodesAsHere)
{
    std::string input = wave("in.wav");
    const Record attributes { { MVAudioEncoderBitrateAttribute, 128000 }, { MVMP3EncoderQualityAttribute, 2 },
        { "_InputFile", std::string("\xFF no text") } };
    NotingListener here;
    NotingListener there;
    std::string expected = scratch.file("here.mp3");
    EXPECT_TRUE(standardEncoding()(attributes, here, OpenedFile::at(input), *OutputPlace::at(expected)));
    EXPECT_EQ(encode(input, scratch.file("there.mp3"), attributes, there), WritingAnswer(true));
    EXPECT_EQ(test::readFile(scratch.file("there.mp3")), test::readFile(expected));
    EXPECT_GT(here.heard.size(), 3u);
    EXPECT_EQ(there.heard, here.heard);
    EXPECT_EQ(there.questions, here.questions);
}

TEST_P(WritingBrokerTest, ACancelledEncodingTakesItsOutputAway)
{
    std::string input = wave("in.wav");
    NotingListener listener;
    listener.stopAt = 20;
    EXPECT_EQ(encode(input, scratch.write("out.mp3", "older"), {}, listener), WritingAnswer(true));
    EXPECT_THAT(names(), testing::ElementsAre("in.wav"));
    EXPECT_EQ(listener.questions, 20);
    EXPECT_EQ(listener.heard.front(), "started");
    EXPECT_THAT(listener.heard.back(), testing::StartsWith("progress"));
}

TEST_P(WritingBrokerTest, AnEncodingFailsWithTheCodesOfHere)
{
    NotingListener listener;
    std::string noise = scratch.write("noise.wav", "this is no sound");
    EXPECT_EQ(encode(noise, scratch.file("out.mp3"), {}, listener), WritingAnswer(false));
    EXPECT_EQ(encode(scratch.file("none"), scratch.file("out.mp3"), {}, listener), WritingAnswer(false));
    std::string input = wave("in.wav");
    EXPECT_EQ(encode(input, scratch.file("no/out.mp3"), {}, listener), WritingAnswer(false));
    Bytes before = test::readFile(input);
    EXPECT_EQ(encode(input, input, {}, listener), WritingAnswer(false));
    EXPECT_EQ(test::readFile(input), before);
    EXPECT_THAT(listener.heard, testing::ElementsAre("failed 1", "failed 1", "failed 4", "failed 4"));
    EXPECT_EQ(names().size(), 2u);
}

TEST_P(WritingBrokerTest, ConvertsAsHere)
{
    std::string input = wave("in.wav");
    MP4ExporterImpl exporter;
    for (bool heard : { true, false }) {
        NotingDelegate here;
        NotingDelegate there;
        std::string expected = scratch.file("here.m4a");
        auto place = OutputPlace::at(expected);
        EXPECT_EQ(exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(
                      heard ? &here : nullptr, OpenedFile::at(input), place, 96000),
            noErr);
        EXPECT_EQ(convert(input, scratch.file("there.m4a"), 96000, heard ? &there : nullptr), WritingAnswer(noErr));
        EXPECT_EQ(test::readFile(scratch.file("there.m4a")), test::readFile(expected));
        EXPECT_EQ(here.percents.empty(), !heard);
        EXPECT_EQ(there.percents, here.percents);
    }
}

TEST_P(WritingBrokerTest, AConversionTakesTheTagsAlong)
{
    std::string input = made("in.mp3",
        "-f lavfi -i sine=d=2:r=44100 -metadata title=Song -metadata artist=Singer -b:a 96k -id3v2_version 3");
    std::string tagged = made("in.m4a", "-f lavfi -i sine=d=2:r=44100 -metadata title=Song -c:a aac");
    MP4ExporterImpl exporter;
    for (const std::string& source : { input, tagged }) {
        std::string expected = scratch.file("here.m4a");
        auto place = OutputPlace::at(expected);
        EXPECT_EQ(
            exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(nullptr, OpenedFile::at(source), place, 64000),
            noErr);
        EXPECT_EQ(convert(source, scratch.file("there.m4a"), 64000, nullptr), WritingAnswer(noErr));
        EXPECT_EQ(test::readFile(scratch.file("there.m4a")), test::readFile(expected)) << source;
    }
    EXPECT_THAT(test::outputOf("ffprobe -v error -show_entries format_tags=title -of csv=p=0 "
                    + test::shellQuoted(scratch.file("there.m4a"))),
        testing::StartsWith("Song"));
    EXPECT_EQ(names().size(), 4u);
}

TEST_P(WritingBrokerTest, ACancelledConversionLeavesWhatIsThere)
{
    std::string input = wave("in.wav", 4'000'000);
    NotingDelegate delegate;
    delegate.refuseAt = 30;
    std::string output = scratch.file("out.m4a");
    EXPECT_EQ(convert(input, output, 96000, &delegate), WritingAnswer(MVMP4ExporterCancelled));
    EXPECT_EQ(delegate.percents.size(), 30u);
    EXPECT_GT(std::stod(test::outputOf("ffprobe -v error -show_entries format=duration -of csv=p=0 " + output)), 1.0);
}

TEST_P(WritingBrokerTest, AConversionFailsWithTheCodesOfHere)
{
    std::string noise = scratch.write("noise.wav", "this is no sound");
    std::string input = wave("in.wav");
    std::string older = scratch.write("out.m4a", "older");
    MP4ExporterImpl exporter;
    for (const auto& [from, to] : { std::pair { noise, older }, { scratch.file("none"), older },
             { input, scratch.file("no/out.m4a") }, { input, input }, { input, scratch.path() } }) {
        std::int32_t here = exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(
            nullptr, OpenedFile::at(from), OutputPlace::at(to), 96000);
        EXPECT_NE(here, noErr);
        EXPECT_EQ(convert(from, to, 96000, nullptr), WritingAnswer(here)) << from << " to " << to;
    }
    EXPECT_EQ(test::readFile(older).size(), 5u);
    EXPECT_EQ(names().size(), 3u);
}

TEST_P(WritingBrokerTest, ExportsAsHere)
{
    std::string input = movie("in.mov", "-c:v mpeg4 -c:a aac");
    MP4ExporterImpl exporter;
    NotingDelegate here;
    NotingDelegate there;
    auto place = OutputPlace::at(scratch.file("here.mp4"));
    EXPECT_EQ(exporter.exportWithDelegateFromPathToMp4Path(&here, OpenedFile::at(input), place), noErr);
    EXPECT_EQ(exportMovie(input, scratch.write("there.mp4", "older"), &there), WritingAnswer(noErr));
    EXPECT_GT(test::readFile(scratch.file("here.mp4")).size(), 1000u);
    EXPECT_EQ(test::readFile(scratch.file("there.mp4")), test::readFile(scratch.file("here.mp4")));
    EXPECT_EQ(here.percents.front(), 1);
    EXPECT_EQ(there.percents, here.percents);
    EXPECT_EQ(exportMovie(input, scratch.file("there.mp4"), nullptr), WritingAnswer(noErr));
}

TEST_P(WritingBrokerTest, AnExportThatFailsOrIsCancelledLeavesNothing)
{
    std::string input = movie("in.mov", "-c:v mpeg4 -c:a aac");
    std::string noise = scratch.write("noise.mov", "this is no movie");
    MP4ExporterImpl exporter;
    NotingDelegate delegate;
    delegate.refuseAt = 3;
    std::int32_t cancelled = exporter.exportWithDelegateFromPathToMp4Path(
        &delegate, OpenedFile::at(input), OutputPlace::at(scratch.file("here.mp4")));
    EXPECT_NE(cancelled, noErr);
    delegate.percents.clear();
    EXPECT_EQ(exportMovie(input, scratch.write("there.mp4", "older"), &delegate), WritingAnswer(cancelled));
    EXPECT_EQ(delegate.percents.size(), 3u);
    EXPECT_EQ(names().size(), 2u);
    for (const auto& [from, to] :
        { std::pair { noise, scratch.file("out.mp4") }, { scratch.file("none"), scratch.file("out.mp4") },
            { input, input }, { input, scratch.path() }, { input, scratch.file("no/out.mp4") } }) {
        std::int32_t here
            = exporter.exportWithDelegateFromPathToMp4Path(nullptr, OpenedFile::at(from), OutputPlace::at(to));
        EXPECT_EQ(exportMovie(from, to, nullptr), WritingAnswer(here)) << from << " to " << to;
    }
    EXPECT_EQ(names().size(), 2u);
}

std::string nameOf(const testing::TestParamInfo<WorkerSide>& row)
{
    return row.param == WorkerSide::Thread ? "Thread" : "Closed";
}

INSTANTIATE_TEST_SUITE_P(Every, WritingBrokerTest, testing::Values(WorkerSide::Thread, WorkerSide::Closed), nameOf);

} // namespace
} // namespace mv
