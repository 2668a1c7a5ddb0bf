// The steps of a conversion, with a toolbox and audio files that are not there.
#include "tests/service/transcode/MP4ExporterFakes.h"

namespace mv::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(MP4ExporterImplTest, ConversionStepByStep)
{
    m_files.total = m_files.available = 3000;
    EXPECT_EQ(convert(), 0);
    EXPECT_THAT(m_files.calls,
        ElementsAre("open /in.wav", "get ffmt source", "set cfmt source", "create /out.m4a", "set cfmt destination",
            "get acnv destination", "converter brat", "get #frm source", "read source", "write destination",
            "read source", "write destination", "read source", "dispose source", "dispose destination"));
    AudioStreamBasicDescription aac;
    aac.mSampleRate = 44100;
    aac.mFormatID = fourCC("aac ");
    aac.mChannelsPerFrame = 2;
    EXPECT_EQ(m_files.created, aac) << "every size is left to the platform";
    EXPECT_EQ(m_files.fileType, fourCC("m4af"));
    EXPECT_EQ(m_files.clientFormats[FakeAudioFiles::Source], linearPcm(44100, 2, 32, kAudioFormatFlagIsFloat));
    EXPECT_EQ(m_files.clientFormats[FakeAudioFiles::Destination], m_files.clientFormats[FakeAudioFiles::Source]);
    EXPECT_EQ(m_files.bitRate, 96000u);
    EXPECT_EQ(m_files.allWritten(), Bytes(3000 * 8, 0x41));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(MP4ExporterImplTest, BitRatesOutOfRangeBecome128000)
{
    for (auto [asked, set] : std::vector<std::pair<std::int32_t, std::uint32_t>> { { 999, 128000 }, { 1000, 1000 },
             { 256000, 256000 }, { 256001, 128000 }, { 0, 128000 }, { -1, 128000 }, { 192000, 192000 } }) {
        EXPECT_EQ(convert("/in.wav", asked), 0);
        EXPECT_EQ(m_files.bitRate, set) << asked;
    }
}

TEST_F(MP4ExporterImplTest, OneSecondIsReportedEveryFourPointSixPercent)
{
    m_files.total = m_files.available = 44100;
    EXPECT_EQ(convert(), 0);
    // 2048 frames a buffer: 2048 * n * 100 / 44100, cut; the last buffer would make 102.
    EXPECT_THAT(m_delegate.percents,
        ElementsAre(4, 9, 13, 18, 23, 27, 32, 37, 41, 46, 51, 55, 60, 65, 69, 74, 78, 83, 88, 92, 97, 100));
}

TEST_F(MP4ExporterImplTest, LongConversionsReportEachPercentOnce)
{
    m_files.total = m_files.available = 2048 * 1000;
    EXPECT_EQ(convert(), 0);
    std::vector<std::int32_t> expected;
    for (std::int32_t percent = 1; percent <= 100; ++percent)
        expected.push_back(percent);
    EXPECT_EQ(m_delegate.percents, expected);
}

// Deliberate: the last buffer counts 2,048 frames, however short it is.
TEST_F(MP4ExporterImplTest, ShortLastBlockCountsInFull)
{
    m_files.total = 4000;
    m_files.available = 4000;
    EXPECT_EQ(convert(), 0);
    EXPECT_THAT(m_delegate.percents, ElementsAre(51, 100)); // not 99: the second buffer makes 102
}

TEST_F(MP4ExporterImplTest, UnknownLengthHasNoProgressButTheLast)
{
    m_files.total = 0;
    m_files.available = 10'000;
    EXPECT_EQ(convert(), 0);
    EXPECT_THAT(m_delegate.percents, ElementsAre(100));
}

TEST_F(MP4ExporterImplTest, WithoutADelegateNothingIsReported)
{
    m_files.total = m_files.available = 44100;
    EXPECT_EQ(convert("/in.wav", 96000, false), 0);
    EXPECT_EQ(m_files.allWritten().size(), 44100u * 8);
}

TEST_F(MP4ExporterImplTest, CancelLeavesTheLoopAtOnce)
{
    m_files.total = m_files.available = 44100;
    m_tags = Record { { MediaDBMusicColumnTitle, "T" } };
    m_delegate.refusedCall = 3;
    EXPECT_EQ(convert("/in.mp3"), -1);
    EXPECT_THAT(m_delegate.percents, ElementsAre(4, 9, 13)); // and no 100
    EXPECT_EQ(m_files.count("write destination"), 3u);
    EXPECT_EQ(m_files.calls.back(), "dispose destination");
    ASSERT_EQ(m_updated.size(), 1u) << "tags are written after a cancel too";
}

TEST_F(MP4ExporterImplTest, CancelAtTheFirstCall)
{
    m_files.total = m_files.available = 44100;
    m_delegate.refusedCall = 1;
    EXPECT_EQ(convert(), -1);
    EXPECT_THAT(m_delegate.percents, ElementsAre(4));
}

TEST_F(MP4ExporterImplTest, RefusingTheLastCallCancelsNothing)
{
    m_files.total = m_files.available = 100;
    m_delegate.refusedCall = 1;
    EXPECT_EQ(convert(), 0);
    EXPECT_THAT(m_delegate.percents, ElementsAre(100));
}

TEST_F(MP4ExporterImplTest, TagsGoOverAsTheyAre)
{
    m_files.total = m_files.available = 10;
    m_tags = Record { { MediaDBCommonColumnMediaType, 0x01000001 }, { MediaDBMusicColumnTitle, "T" } };
    EXPECT_EQ(convert("/a/in.MP3"), 0);
    EXPECT_THAT(m_described, ElementsAre("mp3 /a/in.MP3"));
    ASSERT_EQ(m_updated.size(), 1u);
    EXPECT_EQ(m_updated[0].first, "/out.m4a");
    EXPECT_EQ(m_updated[0].second, *m_tags) << "the media type stays MP3's";
}

TEST_F(MP4ExporterImplTest, M4aSourcesAreDescribedByTheirOwnParser)
{
    m_tags = Record { { MediaDBMusicColumnTitle, "T" } };
    EXPECT_EQ(convert("/a/in.m4a"), 0);
    EXPECT_THAT(m_described, ElementsAre("mp4 /a/in.m4a"));
    EXPECT_EQ(m_updated.size(), 1u);
}

TEST_F(MP4ExporterImplTest, OtherSourcesGetNoTags)
{
    m_tags = Record { { MediaDBMusicColumnTitle, "T" } };
    for (const char* source : { "/in.wav", "/in.flac", "/in.ogg", "/in.aac", "/in.mp4", "/in" })
        EXPECT_EQ(convert(source), 0);
    EXPECT_THAT(m_described, IsEmpty());
    EXPECT_THAT(m_updated, IsEmpty());
}

TEST_F(MP4ExporterImplTest, WithoutARecordNoTagIsWritten)
{
    EXPECT_EQ(convert("/in.mp3"), 0);
    EXPECT_EQ(m_described.size(), 1u);
    EXPECT_THAT(m_updated, IsEmpty());
}

TEST_F(MP4ExporterImplTest, FilesThatCannotBeOpenedEndIt)
{
    m_files.failures["open /in.wav"] = fnfErr;
    EXPECT_EQ(convert(), -43);
    EXPECT_THAT(m_log.lines(), ElementsAre("ExtAudioFileOpenURL fail -43"));
    m_files.failures = { { "create /out.m4a", permErr } };
    m_files.calls.clear();
    EXPECT_EQ(convert(), -54);
    EXPECT_EQ(m_files.calls.back(), "dispose source");
    EXPECT_THAT(m_delegate.percents, IsEmpty());
    EXPECT_THAT(m_updated, IsEmpty());
}

TEST_F(MP4ExporterImplTest, AClientFormatThatIsRefusedEndsIt)
{
    for (const char* call : { "set cfmt source", "set cfmt destination" }) {
        m_files.failures = { { call, -66566 } };
        EXPECT_EQ(convert(), -66566) << call;
    }
    EXPECT_TRUE(m_files.written.empty());
}

TEST_F(MP4ExporterImplTest, ABitRateThatIsRefusedDoesNot)
{
    m_files.total = m_files.available = 10;
    m_files.failures["converter brat"] = 5;
    EXPECT_EQ(convert(), 0);
    EXPECT_EQ(m_files.written.size(), 1u);
}

// Deliberate: nobody stops reading; the error is returned at the end, and no progress is made.
TEST_F(MP4ExporterImplTest, AFailingDestinationIsReportedAtTheEnd)
{
    m_files.total = m_files.available = 44100;
    m_files.failures["write destination"] = dskFulErr;
    m_tags = Record {};
    EXPECT_EQ(convert("/in.mp3"), -34);
    EXPECT_EQ(m_files.count("write destination"), 22u);
    EXPECT_THAT(m_delegate.percents, IsEmpty());
    EXPECT_THAT(m_updated, IsEmpty()) << "no tags after an error";
    EXPECT_EQ(m_log.lines().size(), 22u);
    EXPECT_THAT(m_log.lines(), Each("ExtAudioFileWrite () error -34"));
}

TEST_F(MP4ExporterImplTest, AFileThatCannotBeFinishedIsAnError)
{
    m_files.total = m_files.available = 10;
    m_files.failures["dispose destination"] = dskFulErr;
    EXPECT_EQ(convert(), -34);
    EXPECT_THAT(m_delegate.percents, IsEmpty());
}

// Deliberate: what could not be read is heard as silence.
TEST_F(MP4ExporterImplTest, AReadThatFailsOnceIsSilence)
{
    m_files.total = m_files.available = 4096;
    m_files.reads = { noErr, ioErr };
    EXPECT_EQ(convert(), 0);
    Bytes expected(2048 * 8, 0x41);
    expected.insert(expected.end(), 2048 * 8, 0);
    expected.insert(expected.end(), 2048 * 8, 0x41);
    EXPECT_EQ(m_files.allWritten(), expected);
    EXPECT_THAT(m_log.lines(), ElementsAre("ExtAudioFileRead fail -36"));
}

TEST_F(MP4ExporterImplTest, ASourceThatFailsForGoodEndsWhereItsLengthDoes)
{
    m_files.total = 10'000;
    m_files.failures["read source"] = ioErr;
    EXPECT_EQ(convert(), -36);
    EXPECT_EQ(m_files.allWritten(), Bytes(5 * 2048 * 8));
    EXPECT_EQ(m_delegate.percents.back(), 81) << "no 100 after an error";
}

TEST_F(MP4ExporterImplTest, SourceAndDestinationMayNotBeOneFile)
{
    std::filesystem::create_hard_link(m_source, m_scratch.file("link"));
    std::string folder = m_scratch.path().substr(m_scratch.path().rfind('/') + 1);
    for (const std::string& name : { m_source, m_scratch.path() + "/../" + folder + "/in.mov", m_scratch.file("link") })
        EXPECT_EQ(m_exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(
                      nullptr, OpenedFile::at(m_source), OutputPlace::at(name), 0),
            -50);
    EXPECT_THAT(m_files.calls, IsEmpty());
    EXPECT_EQ(charsOf(readFile(m_source)), "movie");
}

TEST_F(MP4ExporterImplTest, AnExceptionLeavesTheLockOpen)
{
    m_files.total = m_files.available = 44100;
    m_delegate.raises = true;
    EXPECT_THROW(convert(), NSException);
    m_delegate.raises = false;
    EXPECT_EQ(convert(), 0);
}

} // namespace
} // namespace mv::test
