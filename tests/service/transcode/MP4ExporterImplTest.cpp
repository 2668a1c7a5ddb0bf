// The exporter's steps, with a toolbox and audio files that are not there.
#include "service/transcode/MP4ExporterImpl.h"

#include "Base/Core/NSException.h"
#include "Base/Media/MediaDB.h"
#include "service/transcode/MP4ExportSetting.h"
#include "tests/service/transcode/FakeAudioFiles.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <atomic>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

namespace mv::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class Delegate final : public MVMP4ExporterDelegate {
public:
    bool MP4ExporterProgress(std::int32_t percent) override
    {
        percents.push_back(percent);
        if (raises)
            throw NSException(NSGenericException, "the client is gone");
        return percents.size() < refusedCall;
    }
    std::vector<std::int32_t> percents;
    std::size_t refusedCall = SIZE_MAX;
    bool raises = false;
};

class FakeToolbox final : public MovieToolbox {
public:
    OSStatus newMovie = noErr;
    bool hasMovie = true;
    OSStatus settings = noErr;
    OSStatus convert = noErr;
    OSStatus reference = noErr;
    bool hasExporter = true;
    std::vector<QTTrack> tracks;
    std::vector<std::pair<std::int16_t, Fixed>> progress; ///< reported while converting, until one is refused

    std::vector<std::string> calls;
    Bytes container;
    std::vector<OSStatus> answers;

    OSStatus EnterMovies() override { return note("enter", noErr); }
    void ExitMovies() override { note("exit", noErr); }
    OSStatus QTNewDataReferenceFromFSRef(const FSRef& ref, DataReference& made) override
    {
        made.path = ref.path;
        return note("reference " + std::string(ref.path.lastPathComponent()), reference);
    }
    OSStatus NewMovieFromDataRef(std::unique_ptr<Movie>& movie, std::int16_t flags, const DataReference& from) override
    {
        EXPECT_EQ(flags, 1);
        if (newMovie == noErr && hasMovie)
            movie = std::make_unique<Movie>(from, tracks);
        return note("open " + std::string(from.path.lastPathComponent()), newMovie);
    }
    void SetMovieProgressProc(Movie& movie, MovieProgressProc proc, void* context) override
    {
        note("progress", noErr);
        MovieToolbox::SetMovieProgressProc(movie, proc, context);
    }
    std::unique_ptr<MovieExporter> OpenDefaultComponent(OSType type, OSType subtype) override
    {
        note("component " + fourCharacterText(type) + " " + fourCharacterText(subtype), noErr);
        return hasExporter ? std::make_unique<MovieExporter>() : nullptr;
    }
    OSStatus MovieExportSetSettingsFromAtomContainer(MovieExporter&, ByteView bytes) override
    {
        container.assign(bytes.begin(), bytes.end());
        return note("settings", settings);
    }
    OSStatus ConvertMovieToDataRef(Movie& movie, const DataReference& to, OSType fileType, OSType creator,
        std::uint32_t flags, MovieExporter&) override
    {
        note(formatText("convert %s %s %s %08x", std::string(to.path.lastPathComponent()).c_str(),
                 fourCharacterText(fileType).c_str(), fourCharacterText(creator).c_str(), flags),
            noErr);
        destinationWasThere = std::filesystem::exists(to.path.text());
        for (auto [message, percent] : progress) {
            answers.push_back(movie.report(message, percent));
            if (answers.back() != noErr)
                return userCanceledErr;
        }
        return convert;
    }
    bool destinationWasThere = true;

private:
    OSStatus note(std::string call, OSStatus status)
    {
        calls.push_back(std::move(call));
        return status;
    }
};

class MP4ExporterImplTest : public testing::Test {
protected:
    MP4ExporterTools tools()
    {
        return { &m_toolbox, &m_files,
            [this](const Path& path) {
                m_described.push_back("mp3 " + path.text());
                return m_tags;
            },
            [this](const Path& path) {
                m_described.push_back("mp4 " + path.text());
                return m_tags;
            },
            [this](const Path& path, const Record& record) {
                m_updated.emplace_back(path.text(), record);
                return true;
            } };
    }
    std::int32_t convert(const Path& source = "/in.wav", std::int32_t bitrate = 96000, bool withDelegate = true)
    {
        return m_exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(
            withDelegate ? &m_delegate : nullptr, source, "/out.m4a", bitrate);
    }
    std::int32_t exportMovie(bool withDelegate = true)
    {
        return m_exporter.exportWithDelegateFromPathToMp4Path(withDelegate ? &m_delegate : nullptr, m_source, m_target);
    }

    ScratchFolder m_scratch;
    std::string m_source = m_scratch.write("in.mov", "movie");
    std::string m_target = m_scratch.file("out.mp4");
    FakeAudioFiles m_files;
    FakeToolbox m_toolbox;
    Delegate m_delegate;
    LogCapture m_log;
    std::optional<Record> m_tags;
    std::vector<std::string> m_described;
    std::vector<std::pair<std::string, Record>> m_updated;
    MP4ExporterImpl m_exporter { tools() };
};

// ---- Conversion

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
    EXPECT_EQ(m_exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(nullptr, m_source, m_source, 0), -50);
    EXPECT_EQ(m_exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(nullptr, m_source,
                  m_scratch.path() + "/../" + m_scratch.path().substr(m_scratch.path().rfind('/') + 1) + "/in.mov", 0),
        -50);
    EXPECT_EQ(
        m_exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(nullptr, m_source, m_scratch.file("link"), 0), -50);
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

// ---- Export

TEST_F(MP4ExporterImplTest, ExportStepByStep)
{
    EXPECT_EQ(exportMovie(), 0);
    EXPECT_THAT(m_toolbox.calls,
        ElementsAre("enter", "reference in.mov", "reference out.mp4", "open in.mov", "progress", "component spit mpg4",
            "settings", "convert out.mp4 mpg4 TVOD 90000000", "exit"));
    EXPECT_EQ(m_toolbox.container, _mp4_export_setting());
}

TEST_F(MP4ExporterImplTest, WithoutADelegateThereIsNoProgressProcedure)
{
    EXPECT_EQ(exportMovie(false), 0);
    EXPECT_THAT(m_toolbox.calls, testing::Not(testing::Contains("progress")));
}

TEST_F(MP4ExporterImplTest, ProgressOfAnExport)
{
    auto part = [](double done) { return static_cast<Fixed>(done * 65536); };
    m_toolbox.progress = { { 0, 0 }, { 1, 0 }, { 1, part(0.005) }, { 1, part(0.5) }, { 1, part(0.994) }, { 1, part(1) },
        { 1, part(2) }, { 2, part(1) }, { 3, part(0.5) }, { -1, 0 } };
    EXPECT_EQ(exportMovie(), 0);
    EXPECT_THAT(m_delegate.percents, ElementsAre(1, 1, 1, 50, 99, 99, 99, 100, 0, 0));
    EXPECT_THAT(m_toolbox.answers, Each(0));
}

TEST_F(MP4ExporterImplTest, RefusedProgressCancelsTheExport)
{
    m_toolbox.progress = { { 0, 0 }, { 1, 32768 }, { 1, 60000 } };
    m_delegate.refusedCall = 2;
    EXPECT_EQ(exportMovie(), -128);
    EXPECT_THAT(m_delegate.percents, ElementsAre(1, 50));
    EXPECT_THAT(m_toolbox.answers, ElementsAre(0, -1));
}

TEST_F(MP4ExporterImplTest, TheConversionsErrorIsTheResult)
{
    m_toolbox.convert = noExportProcAvailableErr;
    EXPECT_EQ(exportMovie(), -2089);
    EXPECT_EQ(m_toolbox.calls.back(), "exit");
}

TEST_F(MP4ExporterImplTest, AMovieThatCannotBeOpened)
{
    m_toolbox.newMovie = noMovieFound;
    EXPECT_EQ(exportMovie(), -2048);
    EXPECT_EQ(m_toolbox.calls.back(), "exit");
    EXPECT_THAT(m_toolbox.calls, testing::Not(testing::Contains("progress")));
}

TEST_F(MP4ExporterImplTest, NoErrorAndNoMovieIsSuccess)
{
    m_toolbox.hasMovie = false;
    EXPECT_EQ(exportMovie(), 0);
    EXPECT_THAT(m_toolbox.calls, ElementsAre("enter", "reference in.mov", "reference out.mp4", "open in.mov", "exit"));
}

// Deliberate: nothing is exported, and success is reported.
TEST_F(MP4ExporterImplTest, WithoutAnExporterNothingHappens)
{
    m_toolbox.hasExporter = false;
    EXPECT_EQ(exportMovie(), 0);
    EXPECT_EQ(m_toolbox.calls[m_toolbox.calls.size() - 2], "component spit mpg4");
    m_toolbox.hasExporter = true;
    m_toolbox.settings = paramErr;
    EXPECT_EQ(exportMovie(), 0);
    EXPECT_EQ(m_toolbox.calls[m_toolbox.calls.size() - 2], "settings");
}

TEST_F(MP4ExporterImplTest, WithoutReferencesItIsAParameterError)
{
    std::string kept = m_scratch.write("out.mp4", "older");
    EXPECT_EQ(m_exporter.exportWithDelegateFromPathToMp4Path(nullptr, m_scratch.file("missing"), m_target), -50);
    EXPECT_EQ(charsOf(readFile(kept)), "older") << "a missing source costs no file";
    EXPECT_EQ(m_exporter.exportWithDelegateFromPathToMp4Path(nullptr, m_source, m_scratch.file("no/folder.mp4")), -50);
    EXPECT_EQ(m_exporter.exportWithDelegateFromPathToMp4Path(nullptr, m_source, m_scratch.path()), -50);
    EXPECT_EQ(m_exporter.exportWithDelegateFromPathToMp4Path(nullptr, m_source, Path {}), -50);
    EXPECT_EQ(m_exporter.exportWithDelegateFromPathToMp4Path(nullptr, Path {}, m_target), -50);
    m_toolbox.reference = paramErr;
    EXPECT_EQ(exportMovie(), -50);
    EXPECT_THAT(m_toolbox.calls, testing::Not(testing::Contains("open in.mov")));
}

TEST_F(MP4ExporterImplTest, TheOlderFileIsGoneBeforeTheExport)
{
    m_scratch.write("out.mp4", "older");
    m_toolbox.convert = noExportProcAvailableErr;
    EXPECT_EQ(exportMovie(), -2089);
    EXPECT_FALSE(m_toolbox.destinationWasThere);
    EXPECT_FALSE(std::filesystem::exists(m_target)) << "and nothing half made is in its place";
}

TEST_F(MP4ExporterImplTest, ExportOntoItselfIsRefused)
{
    EXPECT_EQ(m_exporter.exportWithDelegateFromPathToMp4Path(nullptr, m_source, m_source), -50);
    EXPECT_EQ(charsOf(readFile(m_source)), "movie");
}

// ---- Apple Lossless

TEST_F(MP4ExporterImplTest, AlacIsLookedForInEnabledTracks)
{
    constexpr OSType alac = fourCC("alac");
    constexpr OSType aac = fourCC("mp4a");
    constexpr OSType sound = fourCC("soun");
    struct Row {
        std::vector<QTTrack> tracks;
        bool isAlac;
    };
    const std::vector<Row> rows {
        { {}, false },
        { { { true, { sound, { alac } } } }, true },
        { { { false, { sound, { alac } } } }, false },
        { { { true, { sound, { aac } } }, { true, { sound, { alac } } } }, true },
        { { { true, { sound, { aac, alac } } } }, false }, // the first description alone
        { { { true, { sound, {} } } }, false },
        { { { false, { sound, { alac } } }, { true, { sound, { alac, aac } } } }, true },
    };
    for (const Row& row : rows) {
        m_toolbox.tracks = row.tracks;
        m_toolbox.calls.clear();
        EXPECT_EQ(m_exporter.isAlacAudio(m_source), row.isAlac);
        EXPECT_THAT(m_toolbox.calls, ElementsAre("enter", "reference in.mov", "open in.mov", "exit"));
    }
}

TEST_F(MP4ExporterImplTest, WhatCannotBeOpenedIsNotAlac)
{
    m_toolbox.tracks = { { true, { fourCC("soun"), { fourCC("alac") } } } };
    EXPECT_FALSE(m_exporter.isAlacAudio(m_scratch.file("missing")));
    EXPECT_FALSE(m_exporter.isAlacAudio(Path {}));
    m_toolbox.newMovie = noMovieFound;
    EXPECT_FALSE(m_exporter.isAlacAudio(m_source));
    m_toolbox.newMovie = noErr;
    m_toolbox.hasMovie = false;
    EXPECT_FALSE(m_exporter.isAlacAudio(m_source));
    m_toolbox.hasMovie = true;
    m_toolbox.reference = paramErr;
    EXPECT_FALSE(m_exporter.isAlacAudio(m_source));
    EXPECT_EQ(m_toolbox.calls.back(), "exit");
}

// ---- The lock

// Two exporters, as two services would have them: their jobs never overlap.
TEST_F(MP4ExporterImplTest, OneJobAtATimeInTheWholeProcess)
{
    class Counting final : public MVMP4ExporterDelegate {
    public:
        explicit Counting(std::atomic<int>& inside, std::atomic<bool>& overlapped)
            : m_inside(inside)
            , m_overlapped(overlapped)
        {
        }
        bool MP4ExporterProgress(std::int32_t) override
        {
            if (m_inside.exchange(1) != 0)
                m_overlapped = true;
            std::this_thread::yield();
            m_inside = 0;
            return true;
        }

    private:
        std::atomic<int>& m_inside;
        std::atomic<bool>& m_overlapped;
    };
    std::atomic<int> inside = 0;
    std::atomic<bool> overlapped = false;
    auto work = [&] {
        FakeAudioFiles files;
        FakeToolbox toolbox;
        MP4ExporterImpl exporter { { &toolbox, &files, {}, {}, {} } };
        Counting delegate(inside, overlapped);
        files.total = files.available = 2048 * 200;
        EXPECT_EQ(exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(&delegate, "/a.wav", "/b.m4a", 1), 0);
    };
    std::thread first(work), second(work);
    first.join();
    second.join();
    EXPECT_FALSE(overlapped);
}

} // namespace
} // namespace mv::test
