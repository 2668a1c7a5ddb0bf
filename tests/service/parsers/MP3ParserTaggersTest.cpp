// Files as other programs write them, each described and compared with what the program was told to write. A program
// that is not installed skips its test.

#include "Base/Core/Text.h"
#include "Base/Media/MediaDB.h"
#include "service/parsers/MP3Parser.h"
#include "tests/fakes/FakeQTKit.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/Scratch.h"

#include <gtest/gtest.h>

namespace mv::test {
namespace {

#define NEEDS_PROGRAM(name)                                                                                            \
    if (!haveProgram(name))                                                                                            \
    GTEST_SKIP() << name << " is not installed"

constexpr const char* Korean = "\xEA\xB2\xA8\xEC\x9A\xB8 \xEB\xB0\x94\xEB\x8B\xA4";
constexpr const char* Accents = "Caf\xC3\xA9 \xE2\x80\x93 na\xC3\xAFve";
constexpr const char* Emoji = "Song \xF0\x9F\x98\x80";

// The interpreter that has Debian's mutagen.
const std::string Python = "/usr/bin/python3";

class MP3ParserTaggersTest : public testing::Test {
protected:
    std::string audio() { return m_scratch.write("song.mp3", mpegFrames(77)); }
    Record describe(const std::string& path)
    {
        return MP3Parser(m_toolkit).build(OpenedFile::at(path)).value_or(Record {});
    }
    std::string textOf(const Record& record, std::string_view key)
    {
        const std::string* value = record.string(key);
        return value ? *value : "(absent)";
    }
    void expectTexts(
        const Record& record, const std::string& title, const std::string& artist, const std::string& album)
    {
        EXPECT_EQ(textOf(record, MediaDBMusicColumnTitle), title);
        EXPECT_EQ(textOf(record, MediaDBMusicColumnArtist), artist);
        EXPECT_EQ(textOf(record, MediaDBMusicColumnAlbum), album);
        EXPECT_EQ(record.integer(MediaDBMusicColumnPlayLength), 2);
    }
    /// Runs a Python program with the path as its argument.
    void python(const std::string& path, const std::string& program)
    {
        ASSERT_EQ(run(Python + " -c " + test::shellQuoted(program) + " " + test::shellQuoted(path)), 0);
    }
    bool haveMutagen() { return run(Python + " -c 'import mutagen' 2>/dev/null") == 0; }

    ScratchFolder m_scratch;
    FakeQTKit m_toolkit;
};

TEST_F(MP3ParserTaggersTest, MutagenInEveryVersionAndEncoding)
{
    if (!haveMutagen())
        GTEST_SKIP() << "mutagen is not installed";
    for (int version : { 3, 4 }) {
        for (int encoding : { 1, 2, 3 }) {
            if (version == 3 && encoding > 1)
                continue;
            std::string path = audio();
            python(path,
                formatText("import sys\n"
                           "from mutagen.id3 import *\n"
                           "from mutagen.id3 import TIT2,TPE1,TALB,TCOM,TCON,TRCK,TDRC,COMM,SYLT\n"
                           "t=ID3()\n"
                           "for f,v in ((TIT2,%s),(TPE1,%s),(TALB,%s),(TCOM,'C'),(TCON,'(17)'),(TRCK,'7/15'),"
                           "(TDRC,'2004-05-06')): t.add(f(encoding=%d,text=[v]))\n"
                           "t.add(COMM(encoding=%d,lang='kor',desc='d',text=[%s]))\n"
                           "t.add(SYLT(encoding=%d,lang='eng',format=2,type=1,desc='',text=[('a',1)]))\n"
                           "t.save(sys.argv[1],v2_version=%d)\n",
                    test::shellQuoted(Korean).c_str(), test::shellQuoted(Accents).c_str(),
                    test::shellQuoted(Emoji).c_str(), encoding, encoding, test::shellQuoted(Korean).c_str(), encoding,
                    version));
            Record record = describe(path);
            SCOPED_TRACE(formatText("version %d encoding %d", version, encoding));
            expectTexts(record, Korean, Accents, Emoji);
            EXPECT_EQ(textOf(record, MediaDBMusicColumnComposer), "C");
            EXPECT_EQ(textOf(record, MediaDBMusicColumnGenre), "Rock");
            EXPECT_EQ(record.integer(MediaDBMusicColumnTrackNo), 7);
            // TDRC is no frame of v2.3.
            EXPECT_EQ(textOf(record, MediaDBMusicColumnDateReleased), version == 4 ? "2004" : "(absent)");
            EXPECT_EQ(textOf(record, MediaDBCommonColumnReservedText), Korean);
            EXPECT_EQ(record.boolean(MediaDBMusicColumnHasLyrics), true);
        }
    }
}

TEST_F(MP3ParserTaggersTest, MutagensSeveralValues)
{
    if (!haveMutagen())
        GTEST_SKIP() << "mutagen is not installed";
    for (int version : { 3, 4 }) {
        std::string path = audio();
        python(path,
            formatText("import sys\n"
                       "from mutagen.id3 import ID3,TPE1,TCON\n"
                       "t=ID3()\n"
                       "t.add(TPE1(encoding=3,text=['One','Two']))\n"
                       "t.add(TCON(encoding=3,text=['17','Mine']))\n"
                       "t.save(sys.argv[1],v2_version=%d)\n",
                version));
        Record record = describe(path);
        EXPECT_EQ(textOf(record, MediaDBMusicColumnArtist), "One/Two") << version;
        EXPECT_EQ(textOf(record, MediaDBMusicColumnGenre), version == 4 ? "Rock" : "17/Mine") << version;
    }
}

TEST_F(MP3ParserTaggersTest, FfmpegInEveryVersion)
{
    NEEDS_PROGRAM("ffmpeg");
    for (const char* version : { "3", "4" }) {
        std::string path = m_scratch.file("ffmpeg.mp3");
        ASSERT_EQ(run("ffmpeg -v error -y -f lavfi -i sine=d=2 -b:a 64k -id3v2_version " + std::string(version)
                      + " -metadata title=" + test::shellQuoted(Korean) + " -metadata artist="
                      + test::shellQuoted(Accents) + " -metadata album=" + test::shellQuoted(Emoji)
                      + " -metadata genre=Rock -metadata track=3/9 -metadata date=2010 -metadata composer=C"
                      + " -metadata comment=hello " + test::shellQuoted(path)),
            0);
        Record record = describe(path);
        SCOPED_TRACE(version);
        expectTexts(record, Korean, Accents, Emoji);
        EXPECT_EQ(textOf(record, MediaDBMusicColumnGenre), "Rock");
        EXPECT_EQ(record.integer(MediaDBMusicColumnTrackNo), 3);
        EXPECT_EQ(textOf(record, MediaDBMusicColumnDateReleased), "2010");
        EXPECT_EQ(textOf(record, MediaDBMusicColumnComposer), "C");
        EXPECT_EQ(record.integer(MediaDBMusicColumnBitrate), 64);
        EXPECT_EQ(record.integer(MediaDBMusicColumnSamplerate), 44100);
    }
}

TEST_F(MP3ParserTaggersTest, LamesTagsOfEveryKind)
{
    NEEDS_PROGRAM("lame");
    NEEDS_PROGRAM("ffmpeg");
    std::string wave = m_scratch.file("a.wav");
    ASSERT_EQ(run("ffmpeg -v error -y -f lavfi -i sine=d=2 " + wave), 0);
    for (const char* kind :
        { "--id3v2-only", "--id3v1-only", "--id3v2-latin1 --id3v2-only", "--id3v2-utf16 --id3v2-only" }) {
        std::string path = m_scratch.file("lame.mp3");
        ASSERT_EQ(
            run("lame --quiet -b 128 " + std::string(kind)
                + " --tt Title --ta Artist --tl Album --ty 2003 --tn 5/9 --tg 17 --tc Comment " + wave + " " + path),
            0);
        Record record = describe(path);
        SCOPED_TRACE(kind);
        expectTexts(record, "Title", "Artist", "Album");
        EXPECT_EQ(textOf(record, MediaDBMusicColumnDateReleased), "2003");
        EXPECT_EQ(textOf(record, MediaDBMusicColumnGenre), "Rock");
        EXPECT_EQ(record.integer(MediaDBMusicColumnTrackNo), 5);
        EXPECT_EQ(textOf(record, MediaDBCommonColumnReservedText), "Comment");
    }
}

struct LameStream {
    const char *duration, *options;
    int seconds, bitrate, rate;
};

class LengthOfLamesStream : public MP3ParserTaggersTest, public testing::WithParamInterface<LameStream> { };

// What is easily measured wrong: short files, low rates, variable bit rates without a table, MPEG-2 with one.
INSTANTIATE_TEST_SUITE_P(Streams, LengthOfLamesStream,
    testing::Values(LameStream { "0.4", "-b 128", 0, 128, 44100 }, LameStream { "1.1", "-b 128", 1, 128, 44100 },
        LameStream { "7.3", "-b 80 -t --resample 44.1", 7, 80, 44100 },
        LameStream { "17.2", "-b 32 -t --resample 44.1", 17, 32, 44100 }, LameStream { "20.8", "-V 2", 21, -1, 44100 },
        LameStream { "20.8", "-V 2 -t", 21, -1, 44100 },
        LameStream { "20.3", "--abr 100 -t --resample 44.1", 20, -1, 44100 },
        LameStream { "20.3", "-V 5 --resample 22.05", 20, -1, 22050 },
        LameStream { "20.3", "-b 16 --resample 8 -m m", 20, 16, 8000 },
        LameStream { "20.3", "--freeformat -b 400 -t", 20, 400, 44100 }));

TEST_P(LengthOfLamesStream, IsThatOfItsSource)
{
    NEEDS_PROGRAM("lame");
    NEEDS_PROGRAM("ffmpeg");
    const LameStream& stream = GetParam();
    std::string wave = m_scratch.file("a.wav");
    std::string path = m_scratch.file("a.mp3");
    // Quiet and loud parts, for bit rates that really vary.
    ASSERT_EQ(run(std::string("ffmpeg -v error -y -f lavfi -i 'aevalsrc=0.5*random(0)*gt(mod(t\\,2)\\,1)|0:s=44100:d=")
                  + stream.duration + "' " + wave),
        0);
    ASSERT_EQ(run(std::string("lame --quiet ") + stream.options + " " + wave + " " + path), 0);
    Record record = describe(path);
    SCOPED_TRACE(stream.options);
    EXPECT_EQ(record.integer(MediaDBMusicColumnPlayLength), stream.seconds);
    EXPECT_EQ(record.integer(MediaDBMusicColumnSamplerate), stream.rate);
    int bitrate = *record.integer(MediaDBMusicColumnBitrate);
    EXPECT_EQ(stream.bitrate >= 0 ? bitrate : -1, stream.bitrate);
}

TEST_F(MP3ParserTaggersTest, LayerTwoOfFfmpeg)
{
    NEEDS_PROGRAM("ffmpeg");
    std::string path = m_scratch.file("a.mp2");
    ASSERT_EQ(run("ffmpeg -v error -y -f lavfi -i sine=d=12.2:r=48000 -b:a 192k " + path), 0);
    Record record = describe(path);
    EXPECT_EQ(record.integer(MediaDBMusicColumnPlayLength), 12);
    EXPECT_EQ(record.integer(MediaDBMusicColumnBitrate), 192);
    EXPECT_EQ(record.integer(MediaDBMusicColumnSamplerate), 48000);
}

TEST_F(MP3ParserTaggersTest, Id3v2Program)
{
    NEEDS_PROGRAM("id3v2");
    std::string path = audio();
    ASSERT_EQ(run("id3v2 -2 -t Title -a Artist -A Album -g 17 -y 2002 -T 8/9 -c Comment " + path), 0);
    Record record = describe(path);
    expectTexts(record, "Title", "Artist", "Album");
    EXPECT_EQ(textOf(record, MediaDBMusicColumnGenre), "Rock");
    EXPECT_EQ(textOf(record, MediaDBMusicColumnDateReleased), "2002");
    EXPECT_EQ(record.integer(MediaDBMusicColumnTrackNo), 8);
    path = audio();
    ASSERT_EQ(run("id3v2 -1 -t Title -a Artist -A Album -g 17 " + path), 0);
    expectTexts(describe(path), "Title", "Artist", "Album");
}

TEST_F(MP3ParserTaggersTest, EyeD3)
{
    NEEDS_PROGRAM("eyeD3");
    for (const char* version : { "--to-v2.3", "--to-v2.4", "--to-v1.1" }) {
        std::string path = m_scratch.copy(audio(), "eyed3.mp3");
        run("eyeD3 -Q -t Title -a Artist -A Album -n 6 -G Rock " + test::shellQuoted(path) + " >/dev/null 2>&1");
        ASSERT_EQ(run("eyeD3 -Q " + std::string(version) + " " + test::shellQuoted(path) + " >/dev/null 2>&1"), 0);
        Record record = describe(path);
        SCOPED_TRACE(version);
        expectTexts(record, "Title", "Artist", "Album");
        EXPECT_EQ(textOf(record, MediaDBMusicColumnGenre), "Rock");
        EXPECT_EQ(record.integer(MediaDBMusicColumnTrackNo), 6);
    }
}

TEST_F(MP3ParserTaggersTest, Kid3)
{
    NEEDS_PROGRAM("kid3-cli");
    for (const char* tag : { "1", "2" }) {
        std::string path = audio();
        std::string command = "kid3-cli";
        for (const char* set : { "set title Title", "set artist Artist", "set album Album", "set genre Rock" })
            command += " -c " + test::shellQuoted(std::string(set) + " " + tag);
        ASSERT_EQ(run(command + " " + test::shellQuoted(path) + " >/dev/null 2>&1"), 0);
        Record record = describe(path);
        SCOPED_TRACE(tag);
        expectTexts(record, "Title", "Artist", "Album");
        EXPECT_EQ(textOf(record, MediaDBMusicColumnGenre), "Rock");
    }
}

} // namespace
} // namespace mv::test
