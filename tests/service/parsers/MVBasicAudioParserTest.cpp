#include "service/parsers/MVBasicAudioParser.h"

#include "Base/Core/ByteReader.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "platform/BASS.h"
#include "tests/support/Corpus.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <utime.h>

namespace mv::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A FLAC file that says it holds so many frames of audio.
Bytes flacOf(std::uint32_t rate, std::uint32_t channels, std::uint64_t frames)
{
    Bytes out;
    ByteWriter writer(out);
    writer.text("fLaC");
    writer.u8(0x80);
    writer.u24be(34);
    writer.u16be(4096);
    writer.u16be(4096);
    writer.zeros(6);
    writer.u64be(
        std::uint64_t { rate } << 44 | std::uint64_t { channels - 1 } << 41 | std::uint64_t { 15 } << 36 | frames);
    writer.zeros(16);
    return out;
}

class MVBasicAudioParserTest : public testing::Test {
protected:
    void SetUp() override { BASS_Init(-1, 44100, 0, nullptr, nullptr); }
    void TearDown() override { BASS_Free(); }

    std::string titleOf(const std::string& name)
    {
        auto record = m_parser.build(OpenedFile::at(m_scratch.write(name, "x")));
        return record ? *record->string(MediaDBMusicColumnTitle) : "(nil)";
    }

    ScratchFolder m_scratch;
    LogCapture m_log;
    MVBasicAudioParser m_parser;
};

TEST_F(MVBasicAudioParserTest, EveryColumnOfAFlacFile)
{
    std::string path = m_scratch.write("My Song.FLAC", flacOf(44100, 2, 44100 * 10));
    struct utimbuf times {
        1'000'000'000, 1'234'567'890
    };
    ASSERT_EQ(utime(path.c_str(), &times), 0);
    Date before = Date::now();
    auto record = m_parser.build(OpenedFile::at(path));
    Date after = Date::now();
    ASSERT_TRUE(record.has_value());

    const Date* added = record->date(MediaDBMusicColumnDateAdded);
    ASSERT_TRUE(added);
    EXPECT_GE(*added, before);
    EXPECT_LE(*added, after);
    Record expected {
        { MediaDBCommonColumnFilePath, path },
        { MediaDBCommonColumnFileName, "My Song.FLAC" },
        { MediaDBCommonColumnIsManaged, false },
        { MediaDBMusicColumnTitle, "My Song" },
        { MediaDBMusicColumnPlayCount, 0 },
        { MediaDBMusicColumnRating, 0 },
        { MediaDBMusicColumnAlbumRating, 0 },
        { MediaDBMusicColumnDateAdded, *added },
        { MediaDBMusicColumnDateModified, Date::fromSeconds(1'234'567'890) },
        { MediaDBCommonColumnFileSize, std::int64_t { 42 } },
        { MediaDBCommonColumnMediaType, 0x01000040 },
        { MediaDBCommonColumnFileTypeString, "FLAC" },
        { MediaDBMusicColumnDRMProperty, 0 },
        { MediaDBMusicColumnIsLicenseExpired, false },
        { MediaDBMusicColumnHasLyrics, false },
        { MediaDBMusicColumnPlayState, 0 },
        { MediaDBCommonColumnLinkError, false },
        { MediaDBMusicColumnIsReadOnly, false },
        { MediaDBCommonColumnReservedInt, 0 },
        { MediaDBMusicColumnPlayLength, 11 },
    };
    EXPECT_EQ(*record, expected);
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(MVBasicAudioParserTest, ThreeMinutesOfOggAre181Seconds)
{
    std::string path = m_scratch.file("long.ogg");
    outputOf(
        "ffmpeg -v error -f lavfi -i anullsrc=r=8000:cl=mono -t 180 -c:a libvorbis -y " + mv::test::shellQuoted(path));
    auto record = m_parser.build(OpenedFile::at(path));
    ASSERT_TRUE(record.has_value());
    EXPECT_EQ(record->integer(MediaDBMusicColumnPlayLength), 181);
    EXPECT_EQ(record->integer(MediaDBCommonColumnReservedInt), 0);
    EXPECT_EQ(record->integer(MediaDBCommonColumnMediaType), MVMediaTypeOGG);
    EXPECT_EQ(*record->string(MediaDBCommonColumnFileTypeString), "OGG");
}

TEST_F(MVBasicAudioParserTest, TitlesAreNamesWithoutExtension)
{
    EXPECT_EQ(titleOf("a.b.ogg"), "a.b");
    EXPECT_EQ(titleOf("Song.FLAC"), "Song");
    EXPECT_EQ(titleOf(".flac"), "");
    EXPECT_EQ(titleOf("노래.ogg"), "노래");
}

// Deliberate: one character goes for a dot that is not there.
TEST_F(MVBasicAudioParserTest, NamesWithoutExtensionLoseTheirLastCharacter)
{
    EXPECT_EQ(titleOf("track"), "trac");
    EXPECT_EQ(titleOf("noext"), "noex");
    EXPECT_EQ(titleOf("t"), "");
    EXPECT_EQ(titleOf("노래"), "노");
    EXPECT_EQ(titleOf("dot."), "dot");
}

TEST_F(MVBasicAudioParserTest, OtherKindsHaveStatusNineAndNoLength)
{
    for (const char* name : { "noext", "a.flc", "a.mp3", "a.wav", "a.oga", "a.flac " }) {
        auto record = m_parser.build(OpenedFile::at(m_scratch.write(name, flacOf(44100, 2, 44100))));
        ASSERT_TRUE(record.has_value()) << name;
        EXPECT_EQ(record->integer(MediaDBCommonColumnReservedInt), 9) << name;
        EXPECT_FALSE(record->contains(MediaDBMusicColumnPlayLength)) << name;
        EXPECT_EQ(record->size(), 19u) << name;
    }
    EXPECT_THAT(m_log.lines(), IsEmpty());
    EXPECT_EQ(m_parser.build(OpenedFile::at(m_scratch.file("a.flc")))->integer(MediaDBCommonColumnMediaType),
        MVMediaTypeFLAC);
    EXPECT_EQ(
        *m_parser.build(OpenedFile::at(m_scratch.file("noext")))->string(MediaDBCommonColumnFileTypeString), "UNKNOWN");
}

TEST_F(MVBasicAudioParserTest, WhatCannotBeOpenedIsLogged)
{
    auto record = m_parser.build(OpenedFile::at(m_scratch.write("empty.flac", "")));
    ASSERT_TRUE(record.has_value());
    EXPECT_EQ(record->integer(MediaDBCommonColumnReservedInt), 9);
    EXPECT_FALSE(record->contains(MediaDBMusicColumnPlayLength));
    EXPECT_THAT(m_log.lines(), ElementsAre("bass load error = 41"));
    EXPECT_EQ(
        m_parser.build(OpenedFile::at(m_scratch.write("text.OGG", "text")))->integer(MediaDBCommonColumnReservedInt),
        9);
    EXPECT_THAT(m_log.lines(), ElementsAre("bass load error = 41", "bass load error = 41"));
}

TEST_F(MVBasicAudioParserTest, FoldersAndFifosAreLogged)
{
    std::string folder = m_scratch.file("folder.flac");
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    EXPECT_EQ(m_parser.build(OpenedFile::at(folder))->integer(MediaDBCommonColumnReservedInt), 9);
    std::string fifo = m_scratch.file("fifo.ogg");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(m_parser.build(OpenedFile::at(fifo))->integer(MediaDBCommonColumnReservedInt), 9);
    EXPECT_THAT(m_log.lines(), ElementsAre("bass load error = 2", "bass load error = 2"));
}

TEST_F(MVBasicAudioParserTest, WithoutInitNothingIsMeasured)
{
    BASS_Free();
    auto record = m_parser.build(OpenedFile::at(m_scratch.write("a.flac", flacOf(44100, 2, 44100))));
    EXPECT_EQ(record->integer(MediaDBCommonColumnReservedInt), 9);
    EXPECT_THAT(m_log.lines(), ElementsAre("bass load error = 8"));
}

TEST_F(MVBasicAudioParserTest, MissingFilesAreNil)
{
    EXPECT_FALSE(m_parser.build(OpenedFile::at(m_scratch.file("missing.flac"))).has_value());
    EXPECT_FALSE(m_parser.build(OpenedFile::at(Path {})).has_value());
    EXPECT_FALSE(m_parser.build(OpenedFile::at("")).has_value());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(MVBasicAudioParserTest, LengthsAreCutNotRounded)
{
    auto record = m_parser.build(OpenedFile::at(m_scratch.write("a.flac", flacOf(44100, 2, 44100 * 3 - 1))));
    EXPECT_EQ(record->integer(MediaDBMusicColumnPlayLength), 3); // 2.99998 + 1
    record = m_parser.build(OpenedFile::at(m_scratch.write("b.flac", flacOf(44100, 2, 1))));
    EXPECT_EQ(record->integer(MediaDBMusicColumnPlayLength), 1);
}

// Deliberate: only the low 32 bits of the decoded length are handed on.
TEST_F(MVBasicAudioParserTest, FourGigabytesOfAudioWrapAround)
{
    constexpr std::uint64_t FramesOf4GiB = (std::uint64_t { 1 } << 32) / 4;
    auto record = m_parser.build(OpenedFile::at(m_scratch.write("a.flac", flacOf(44100, 2, FramesOf4GiB - 1))));
    EXPECT_EQ(record->integer(MediaDBMusicColumnPlayLength), 24348); // 24347.89 + 1
    record = m_parser.build(OpenedFile::at(m_scratch.write("b.flac", flacOf(44100, 2, FramesOf4GiB))));
    EXPECT_EQ(record->integer(MediaDBMusicColumnPlayLength), 1);
    record = m_parser.build(OpenedFile::at(m_scratch.write("c.flac", flacOf(44100, 2, FramesOf4GiB + 44100 * 10))));
    EXPECT_EQ(record->integer(MediaDBMusicColumnPlayLength), 11);
}

TEST_F(MVBasicAudioParserTest, LengthsBeyondAnIntegerStayTheLargest)
{
    auto record = m_parser.build(OpenedFile::at(m_scratch.write("a.flac", flacOf(1, 1, 0x7FFFFFFF))));
    EXPECT_EQ(record->integer(MediaDBMusicColumnPlayLength), 0x7FFFFFFF);
}

TEST_F(MVBasicAudioParserTest, DurationIsLeftAloneOnNo)
{
    double duration = 12.5;
    EXPECT_FALSE(m_parser.isSupportMediaTDuration(OpenedFile::at(m_scratch.write("a.mp3", "x")), duration));
    EXPECT_FALSE(m_parser.isSupportMediaTDuration(OpenedFile::at(m_scratch.write("a.ogg", "x")), duration));
    EXPECT_EQ(duration, 12.5);
    EXPECT_TRUE(
        m_parser.isSupportMediaTDuration(OpenedFile::at(m_scratch.write("a.flac", flacOf(8000, 1, 4000))), duration));
    EXPECT_DOUBLE_EQ(duration, 1.5);
}

TEST_F(MVBasicAudioParserTest, CorpusFiles)
{
    MV_NEEDS_CORPUS();
    for (const ExpectedRow& row : corpusExpectations()) {
        bool known = row.file.ends_with(".flac") || row.file.ends_with(".ogg");
        if (row.key != "duration_s" || !known || !row.file.starts_with("audio/"))
            continue;
        auto record = m_parser.build(OpenedFile::at(corpusFile(row.file)));
        ASSERT_TRUE(record.has_value()) << row.file;
        EXPECT_EQ(record->integer(MediaDBCommonColumnReservedInt), 0) << row.file;
        EXPECT_EQ(record->integer(MediaDBMusicColumnPlayLength), static_cast<int>(std::stod(row.value) + 1.0))
            << row.file;
    }
}

} // namespace
} // namespace mv::test
