// The steps of an export, with a toolbox and audio files that are not there.
#include "tests/service/transcode/MP4ExporterFakes.h"

#include "service/transcode/MP4ExportSetting.h"

namespace mv::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(MP4ExporterImplTest, ExportStepByStep)
{
    EXPECT_EQ(exportMovie(), 0);
    EXPECT_THAT(m_toolbox.calls,
        ElementsAre("enter", "reference in.mov", "open in.mov", "reference out.mp4", "progress", "component spit mpg4",
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
    m_scratch.write("out.mp4", "older");
    m_toolbox.newMovie = noMovieFound;
    EXPECT_EQ(exportMovie(), -2048);
    EXPECT_THAT(m_toolbox.calls, ElementsAre("enter", "reference in.mov", "open in.mov", "exit"));
    EXPECT_EQ(charsOf(readFile(m_target)), "older") << "it costs no file";
}

TEST_F(MP4ExporterImplTest, NoErrorAndNoMovieIsSuccess)
{
    m_toolbox.hasMovie = false;
    EXPECT_EQ(exportMovie(), 0);
    EXPECT_THAT(m_toolbox.calls, ElementsAre("enter", "reference in.mov", "open in.mov", "exit"));
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
    EXPECT_EQ(exportMovie(m_scratch.file("missing"), m_target), -50);
    EXPECT_EQ(charsOf(readFile(kept)), "older") << "a missing source costs no file";
    EXPECT_EQ(exportMovie(m_source, m_scratch.file("no/folder.mp4")), -50);
    EXPECT_EQ(exportMovie(m_source, m_scratch.path()), -50);
    EXPECT_EQ(exportMovie(m_source, Path {}), -50);
    EXPECT_EQ(exportMovie(Path {}, m_target), -50);
    EXPECT_THAT(m_toolbox.calls, testing::Not(testing::Contains("open in.mov"))) << "before the source is opened";
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
    EXPECT_EQ(exportMovie(m_source, m_source), -50);
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
        EXPECT_EQ(m_exporter.isAlacAudio(OpenedFile::at(m_source)), row.isAlac);
        EXPECT_THAT(m_toolbox.calls, ElementsAre("enter", "reference in.mov", "open in.mov", "exit"));
    }
}

TEST_F(MP4ExporterImplTest, WhatCannotBeOpenedIsNotAlac)
{
    m_toolbox.tracks = { { true, { fourCC("soun"), { fourCC("alac") } } } };
    EXPECT_FALSE(m_exporter.isAlacAudio(OpenedFile::at(m_scratch.file("missing"))));
    EXPECT_FALSE(m_exporter.isAlacAudio(OpenedFile()));
    m_toolbox.newMovie = noMovieFound;
    EXPECT_FALSE(m_exporter.isAlacAudio(OpenedFile::at(m_source)));
    m_toolbox.newMovie = noErr;
    m_toolbox.hasMovie = false;
    EXPECT_FALSE(m_exporter.isAlacAudio(OpenedFile::at(m_source)));
    m_toolbox.hasMovie = true;
    m_toolbox.reference = paramErr;
    EXPECT_FALSE(m_exporter.isAlacAudio(OpenedFile::at(m_source)));
    EXPECT_EQ(m_toolbox.calls.back(), "exit");
}

} // namespace
} // namespace mv::test
