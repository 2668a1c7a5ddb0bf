#include "tests/platform/BASSFixture.h"

namespace mv::test {
namespace {

TEST_F(BASSTest, NeedsInit)
{
    BASS_Free();
    EXPECT_EQ(BASS_FLAC_StreamCreateFile(false, OpenedFile::at("/x.flac"), 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), 8);
    EXPECT_EQ(BASS_StreamCreateFile(false, OpenedFile::at("/x.ogg"), 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), 8);
    EXPECT_FALSE(BASS_Free());
    EXPECT_EQ(BASS_ErrorGetCode(), 8);
}

TEST_F(BASSTest, InitWorksOnce)
{
    EXPECT_FALSE(BASS_Init(-1, 44100, 0, nullptr, nullptr));
    EXPECT_EQ(BASS_ErrorGetCode(), 14);
    EXPECT_TRUE(BASS_Free());
    EXPECT_TRUE(BASS_Init(-1, 44100, 0, nullptr, nullptr));
    EXPECT_EQ(BASS_ErrorGetCode(), 0);
}

TEST_F(BASSTest, WhatCannotBeOpened)
{
    EXPECT_EQ(flac(m_scratch.file("missing.flac")).error, 2);
    EXPECT_EQ(ogg(m_scratch.file("missing.ogg")).error, 2);
    EXPECT_EQ(flac(m_scratch.path()).error, 2);
    std::string fifo = m_scratch.file("fifo.ogg");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(ogg(fifo).error, 2);
    EXPECT_EQ(ogg("/dev/zero").error, 2);
}

TEST_F(BASSTest, WhatIsOfNoKnownFormat)
{
    for (std::string_view content :
        { std::string_view {}, std::string_view { "not audio" }, std::string_view { "OggS" } }) {
        std::string path = m_scratch.write("file", content);
        EXPECT_EQ(flac(path).error, 41) << content;
        EXPECT_EQ(ogg(path).error, 41) << content;
    }
    std::string speex = make("video.ogg", 4000, 8000, 1, "-c:a pcm_s16le -f wav");
    EXPECT_EQ(ogg(speex).error, 41);
}

TEST_F(BASSTest, OnlyWholeNamedFiles)
{
    auto file = OpenedFile::at(m_scratch.write("a.flac", flacHeader(44100, 2, 44100)));
    EXPECT_EQ(BASS_FLAC_StreamCreateFile(true, file, 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), 20);
    EXPECT_EQ(BASS_FLAC_StreamCreateFile(false, file, 0, 1, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), 20);
    EXPECT_EQ(BASS_StreamCreateFile(false, file, 1, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), 20);
}

TEST_F(BASSTest, UnknownHandles)
{
    EXPECT_EQ(BASS_ChannelGetLength(77, BASS_POS_BYTE), ~std::uint64_t { 0 });
    EXPECT_EQ(BASS_ErrorGetCode(), 5);
    EXPECT_LT(BASS_ChannelBytes2Seconds(77, 4), 0.0);
    EXPECT_FALSE(BASS_StreamFree(77));
    EXPECT_FALSE(BASS_StreamFree(0));
}

TEST_F(BASSTest, HandlesAreTheirOwn)
{
    std::string one = m_scratch.write("1.flac", flacHeader(44100, 2, 100));
    std::string two = m_scratch.write("2.flac", flacHeader(8000, 1, 200));
    HSTREAM first = BASS_FLAC_StreamCreateFile(false, OpenedFile::at(one), 0, 0, 0);
    HSTREAM second = BASS_FLAC_StreamCreateFile(false, OpenedFile::at(two), 0, 0, 0);
    ASSERT_NE(first, 0u);
    ASSERT_NE(second, 0u);
    EXPECT_NE(first, second);
    EXPECT_EQ(BASS_ChannelGetLength(first, 0), 400u);
    EXPECT_EQ(BASS_ChannelGetLength(second, 0), 400u);
    EXPECT_DOUBLE_EQ(BASS_ChannelBytes2Seconds(second, 400), 0.025);
    EXPECT_EQ(BASS_ChannelGetLength(first, 1), ~std::uint64_t { 0 });
    EXPECT_EQ(BASS_ErrorGetCode(), 20);
    EXPECT_TRUE(BASS_StreamFree(first));
    EXPECT_EQ(BASS_ChannelGetLength(first, 0), ~std::uint64_t { 0 });
    EXPECT_EQ(BASS_ChannelGetLength(second, 0), 400u);
    BASS_Free();
    EXPECT_EQ(BASS_ChannelGetLength(second, 0), ~std::uint64_t { 0 });
}

TEST_F(BASSTest, ErrorsBelongToTheirThread)
{
    EXPECT_FALSE(BASS_StreamFree(77));
    int elsewhere = -1;
    std::thread([&] { elsewhere = BASS_ErrorGetCode(); }).join();
    EXPECT_EQ(elsewhere, 0);
    EXPECT_EQ(BASS_ErrorGetCode(), 5);
}

TEST_F(BASSTest, CorpusLengths)
{
    MV_NEEDS_CORPUS();
    std::map<std::string, double> stated;
    for (const ExpectedRow& row : corpusExpectations()) {
        if (row.key == "duration_s")
            stated[row.file] = std::stod(row.value);
        if (row.key == "duration_us")
            stated[row.file] = std::stod(row.value) / 1e6;
    }
    int compared = 0;
    for (const std::string& name : corpusFiles("audio")) {
        bool isFlac = name.ends_with(".flac");
        if (!isFlac && !name.ends_with(".ogg") && !name.ends_with(".opus"))
            continue;
        Measured measured = isFlac ? flac(corpusFile(name)) : ogg(corpusFile(name));
        EXPECT_EQ(measured.error, 0) << name;
        if (stated.contains(name)) {
            EXPECT_NEAR(measured.seconds, stated[name], 0.02) << name;
            ++compared;
        }
    }
    EXPECT_GE(compared, 8);
}

TEST_F(BASSTest, EveryBadFileOfTheCorpusEndsInAnAnswer)
{
    MV_NEEDS_CORPUS();
    for (const std::string& name : corpusFiles("bad")) {
        Measured asFlac = flac(corpusFile(name));
        Measured asOgg = ogg(corpusFile(name));
        if (!name.ends_with(".flac")) {
            EXPECT_EQ(asFlac.error, 41) << name;
            EXPECT_EQ(asOgg.error, 41) << name;
        }
    }
    EXPECT_EQ(flac(corpusFile("bad/06 - missing streaminfo metadata block.flac")).error, 6);
    EXPECT_EQ(flac(corpusFile("bad/11 - incorrect metadata block length.flac")).error, 0);
    EXPECT_NEAR(flac(corpusFile("bad/106-short-picture-block-size.flac")).seconds, 3.6847, 0.001);
}

} // namespace
} // namespace mv::test
