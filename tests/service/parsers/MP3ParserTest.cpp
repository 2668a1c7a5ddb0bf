#include "tests/service/parsers/MP3ParserFixture.h"

#include "Base/Core/ByteReader.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "service/image/NSImageExtension.h"
#include "service/parsers/ID3Columns.h"
#include "tests/support/Places.h"

#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

namespace mv::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

std::string text(const std::string& content) { return '\0' + content; }

/// A bitmap file of one colour.
std::string bmp(std::uint8_t red, std::uint8_t green, std::uint8_t blue, int side = 16)
{
    Bytes out;
    ByteWriter writer(out);
    auto pixels = static_cast<std::uint32_t>(side * side * 4);
    writer.text("BM");
    writer.u32le(54 + pixels);
    writer.u32le(0);
    writer.u32le(54);
    writer.u32le(40);
    writer.u32le(static_cast<std::uint32_t>(side));
    writer.u32le(static_cast<std::uint32_t>(side));
    writer.u16le(1);
    writer.u16le(32);
    for (std::uint32_t field : { 0u, pixels, 2835u, 2835u, 0u, 0u })
        writer.u32le(field);
    for (int i = 0; i < side * side; ++i) {
        for (std::uint8_t channel : { blue, green, red, std::uint8_t { 0 } })
            writer.u8(channel);
    }
    return std::string(charsOf(out));
}

Bytes thumbnailOf(const std::string& picture)
{
    auto bytes = bytesOf(picture);
    auto image = NSImage::initWithData(Bytes(bytes.begin(), bytes.end()));
    return image ? makeThumbnailForContentCategory(*image, ThumbnailCategoryAlbumArt).value_or(Bytes {}) : Bytes {};
}

TEST_F(MP3ParserTest, EveryColumn)
{
    std::string cover = bmp(10, 200, 30);
    std::string content
        = id3Tag(3,
              frame3("TIT2", "Title") + frame3("TALB", "Album") + frame3("TPE1", "Artist") + frame3("TCOM", "Composer")
                  + frame3("TCON", "(17)") + frame3("TRCK", "3/12") + frame3("TYER", "1999")
                  + id3Frame(3, "COMM", zeroed("\0engdesc\0Comment")) + id3Frame(3, "SYLT", zeroed("\0eng\2\1\0"))
                  + id3Frame(3, "APIC", zeroed("\0image/bmp\0\3\0") + cover))
        + mpegFrames(770);
    std::string path = m_scratch.write("A Song.MP3", content);
    struct utimbuf times {
        1'000'000'000, 1'234'567'890
    };
    ASSERT_EQ(utime(path.c_str(), &times), 0);
    Date before = Date::now();
    auto record = m_parser.build(OpenedFile::at(path));
    Date after = Date::now();
    ASSERT_TRUE(record);
    ASSERT_TRUE(record->date(MediaDBMusicColumnDateAdded));
    EXPECT_GE(*record->date(MediaDBMusicColumnDateAdded), before);
    EXPECT_LE(*record->date(MediaDBMusicColumnDateAdded), after);
    Record expected {
        { MediaDBCommonColumnFilePath, path },
        { MediaDBCommonColumnFileName, "A Song.MP3" },
        { MediaDBCommonColumnIsManaged, false },
        { MediaDBMusicColumnGenre, "Rock" },
        { MediaDBMusicColumnAlbumArt, thumbnailOf(cover) },
        { MediaDBCommonColumnReservedText, "Comment" },
        { MediaDBMusicColumnHasLyrics, true },
        { MediaDBMusicColumnAlbum, "Album" },
        { MediaDBMusicColumnComposer, "Composer" },
        { MediaDBMusicColumnTitle, "Title" },
        { MediaDBMusicColumnArtist, "Artist" },
        { MediaDBMusicColumnTrackNo, 3 },
        { MediaDBMusicColumnDateReleased, "1999" },
        { MediaDBMusicColumnPlayLength, 20 },
        { MediaDBMusicColumnBitrate, 128 },
        { MediaDBMusicColumnSamplerate, 44100 },
        { MediaDBMusicColumnPlayCount, 0 },
        { MediaDBMusicColumnRating, 0 },
        { MediaDBMusicColumnAlbumRating, 0 },
        { MediaDBMusicColumnDateAdded, *record->date(MediaDBMusicColumnDateAdded) },
        { MediaDBMusicColumnDateModified, Date::fromSeconds(1'234'567'890) },
        { MediaDBCommonColumnFileSize, static_cast<std::int64_t>(content.size()) },
        { MediaDBCommonColumnMediaType, 0x1000001 },
        { MediaDBCommonColumnFileTypeString, "MP3" },
        { MediaDBMusicColumnDRMProperty, 0 },
        { MediaDBMusicColumnIsLicenseExpired, false },
        { MediaDBMusicColumnPlayState, 0 },
    };
    EXPECT_EQ(*record, expected);
    EXPECT_FALSE(record->data(MediaDBMusicColumnAlbumArt)->empty());
    EXPECT_THAT(m_log.lines(), IsEmpty());
    EXPECT_THAT(m_toolkit.calls, IsEmpty());
}

TEST_F(MP3ParserTest, FileWithoutAnyTag)
{
    auto record = buildOf(mpegFrames(10));
    ASSERT_TRUE(record);
    std::vector<std::string> keys;
    for (const auto& [key, value] : *record)
        keys.push_back(key);
    EXPECT_THAT(keys,
        UnorderedElementsAre("FilePath", "FileName", "IsManaged", "Genre", "PlayLength", "Bitrate", "Samplerate",
            "PlayCount", "Rating", "AlbumRating", "DateAdded", "DateModified", "FileSize", "MediaType",
            "FileTypeString", "DRMProperty", "IsLicenseExpired", "PlayState"));
    EXPECT_EQ(*record->string(MediaDBMusicColumnGenre), "Unknown");
}

TEST_F(MP3ParserTest, TypeIsMP3WhateverTheExtension)
{
    auto record = buildOf(mpegFrames(10), "song.txt");
    ASSERT_TRUE(record);
    EXPECT_EQ(record->integer(MediaDBCommonColumnMediaType), MVMediaTypeMP3);
    EXPECT_EQ(*record->string(MediaDBCommonColumnFileTypeString), "MP3");
}

TEST_F(MP3ParserTest, TagsOfEveryVersion)
{
    for (int version : { 2, 3, 4 }) {
        bool v2 = version == 2;
        std::string frames = id3Frame(version, v2 ? "TT2" : "TIT2", text("T"))
            + id3Frame(version, v2 ? "TP1" : "TPE1", text("A")) + id3Frame(version, v2 ? "TAL" : "TALB", text("B"))
            + id3Frame(version, v2 ? "TCM" : "TCOM", text("C")) + id3Frame(version, v2 ? "TCO" : "TCON", text("(8)"))
            + id3Frame(version, v2 ? "TRK" : "TRCK", text("7/15"))
            + id3Frame(version,
                v2                 ? "TYE"
                    : version == 3 ? "TYER"
                                   : "TDRC",
                text("2001"))
            + id3Frame(version, v2 ? "COM" : "COMM", zeroed("\0eng\0N"))
            + id3Frame(version, v2 ? "SLT" : "SYLT", zeroed("\0eng\2\1\0"))
            + (v2 ? id3Frame(2, "PIC", zeroed("\0BMP\3\0") + bmp(1, 2, 3))
                  : id3Frame(version, "APIC", zeroed("\0image/bmp\0\3\0") + bmp(1, 2, 3)));
        auto record = buildOf(id3Tag(version, frames) + mpegFrames(10));
        ASSERT_TRUE(record) << version;
        EXPECT_EQ(*record->string(MediaDBMusicColumnTitle), "T");
        EXPECT_EQ(*record->string(MediaDBMusicColumnArtist), "A");
        EXPECT_EQ(*record->string(MediaDBMusicColumnAlbum), "B");
        EXPECT_EQ(*record->string(MediaDBMusicColumnComposer), "C");
        EXPECT_EQ(*record->string(MediaDBMusicColumnGenre), "Jazz");
        EXPECT_EQ(record->integer(MediaDBMusicColumnTrackNo), 7);
        EXPECT_EQ(*record->string(MediaDBMusicColumnDateReleased), "2001");
        EXPECT_EQ(*record->string(MediaDBCommonColumnReservedText), "N");
        EXPECT_EQ(record->boolean(MediaDBMusicColumnHasLyrics), true);
        EXPECT_TRUE(record->contains(MediaDBMusicColumnAlbumArt));
    }
}

TEST_F(MP3ParserTest, Id3v1OnlyWithoutAnId3v2Tag)
{
    std::string v1 = id3v1Tag({ "One", "Who", "What", "1984", "Why", 9, 17 });
    auto record = buildOf(mpegFrames(10) + v1);
    ASSERT_TRUE(record);
    EXPECT_EQ(*record->string(MediaDBMusicColumnTitle), "One");
    EXPECT_EQ(*record->string(MediaDBMusicColumnArtist), "Who");
    EXPECT_EQ(*record->string(MediaDBMusicColumnAlbum), "What");
    EXPECT_EQ(*record->string(MediaDBMusicColumnDateReleased), "1984");
    EXPECT_EQ(*record->string(MediaDBCommonColumnReservedText), "Why");
    EXPECT_EQ(record->integer(MediaDBMusicColumnTrackNo), 9);
    EXPECT_EQ(*record->string(MediaDBMusicColumnGenre), "Rock");
    record = buildOf(id3Tag(3, frame3("TALB", "Album")) + mpegFrames(10) + v1);
    ASSERT_TRUE(record);
    EXPECT_FALSE(record->contains(MediaDBMusicColumnTitle));
    EXPECT_EQ(*record->string(MediaDBMusicColumnAlbum), "Album");
    record = buildOf(id3Tag(3, "") + mpegFrames(10) + v1);
    ASSERT_TRUE(record);
    EXPECT_FALSE(record->contains(MediaDBMusicColumnTitle)) << "an empty ID3v2 tag is one";
}

TEST_F(MP3ParserTest, ALaterFrameTakesThePlaceOfAnEarlier)
{
    EXPECT_EQ(stringOf(frame3("TIT2", "first") + frame3("TIT2", "second"), MediaDBMusicColumnTitle), "second");
    EXPECT_EQ(stringOf(frame3("TIT2", "first") + frame3("TIT2", ""), MediaDBMusicColumnTitle), "first")
        << "one without text stores nothing";
    EXPECT_EQ(
        stringOf(id3Frame(3, "COMM", zeroed("\0eng\0first")) + id3Frame(3, "COMM", zeroed("\0engiTunNORM\0 0000")),
            MediaDBCommonColumnReservedText),
        " 0000");
}

TEST_F(MP3ParserTest, OnlySyncedLyricsCount)
{
    EXPECT_FALSE(recordOf(id3Frame(3, "USLT", zeroed("\0eng\0words"))).contains(MediaDBMusicColumnHasLyrics));
    EXPECT_EQ(recordOf(id3Frame(3, "SYLT", zeroed("\0eng\2\1\0"))).boolean(MediaDBMusicColumnHasLyrics), true);
}

TEST_F(MP3ParserTest, TextDecoding)
{
    const std::string korean = "\xED\x95\x9C\xEA\xB5\xAD";
    struct Row {
        std::string content, expected;
    };
    const Row rows[] = {
        { zeroed("\0\xC7\xD1\xB1\xB9"), korean },
        { zeroed("\0caf\xE9"), "caf\xC3\xA9" },
        { zeroed("\0plain"), "plain" },
        { zeroed("\1\xFF\xFE\x5C\xD5\x6D\xAD"), korean },
        { zeroed("\1\xFE\xFF\xD5\x5C\xAD\x6D"), korean },
        { zeroed("\1\x5C\xD5\x6D\xAD"), korean },
        { zeroed("\1\xFF\xFE\x3D\xD8\0\xDE"), "\xF0\x9F\x98\x80" },
        { zeroed("\2\xD5\x5C\xAD\x6D"), korean },
        { "\3" + korean, korean },
        { "\3"
          "caf\xE9",
            "caf\xC3\xA9" },
    };
    for (int version : { 3, 4 }) {
        for (const Row& row : rows) {
            auto record = buildOf(id3Tag(version, id3Frame(version, "TIT2", row.content)) + mpegFrames(10));
            ASSERT_TRUE(record && record->string(MediaDBMusicColumnTitle)) << version << row.expected;
            EXPECT_EQ(*record->string(MediaDBMusicColumnTitle), row.expected) << version;
        }
    }
    auto v1 = buildOf(mpegFrames(10) + id3v1Tag({ .title = "\xC7\xD1\xB1\xB9" }));
    EXPECT_EQ(*v1->string(MediaDBMusicColumnTitle), korean);
}

TEST_F(MP3ParserTest, GenreRule)
{
    struct Row {
        const char *tag, *expected;
    };
    const Row rows[] = { { "(17)", "Rock" }, { "Rock (17)", "Rock" }, { "(200)", "Electronic" },
        { "(255)", "Booty Bass" }, { "Rock", "Rock" }, { "(12)Other", "Other" }, { "4(5)", "Meditative" },
        { "()", "Blues" }, { "(RX)", "Blues" }, { "(17", "(17" }, { "17)", "17)" }, { "17", "17" }, { ")17(", ")17(" },
        { "(141)", "Christian Rock " }, { "(0)(1)", "Blues" } };
    for (const Row& row : rows) {
        EXPECT_EQ(stringOf(frame3("TCON", row.tag), MediaDBMusicColumnGenre), row.expected) << row.tag;
    }
    EXPECT_EQ(stringOf(frame3("TCON", ""), MediaDBMusicColumnGenre), "Unknown");
}

TEST(GetGenreNo, DigitsBetweenAndBeforeParentheses)
{
    EXPECT_EQ(getGenreNo("(17)"), 17);
    EXPECT_EQ(getGenreNo("4(5)"), 45);
    EXPECT_EQ(getGenreNo("()"), 0);
    EXPECT_EQ(getGenreNo("x1y2(z3)4"), 123);
    EXPECT_EQ(getGenreNo("17"), -1);
    EXPECT_EQ(getGenreNo(""), -1);
    EXPECT_EQ(getGenreNo(")("), -1);
    EXPECT_EQ(getGenreNo("(99999999999999999999)"), 2147483647);
    EXPECT_EQ(genreName("(148)"), "Blues");
}

TEST_F(MP3ParserTest, TrackRule)
{
    auto track = [&](const char* tag) { return recordOf(frame3("TRCK", tag)).integer(MediaDBMusicColumnTrackNo); };
    EXPECT_EQ(track("3/12"), 3);
    EXPECT_EQ(track("07/15"), 7);
    EXPECT_EQ(track("abc"), 0);
    EXPECT_EQ(track(" 5"), 5);
    EXPECT_EQ(track("-2"), -2);
    EXPECT_EQ(track(""), std::nullopt);
}

TEST_F(MP3ParserTest, TheLastPictureThatCanBeDrawn)
{
    auto apic = [](const std::string& data) { return id3Frame(3, "APIC", zeroed("\0image/bmp\0\3\0") + data); };
    Record record = recordOf(apic(bmp(255, 0, 0)) + apic(bmp(0, 0, 255)) + apic("no picture at all"));
    ASSERT_TRUE(record.data(MediaDBMusicColumnAlbumArt));
    EXPECT_EQ(*record.data(MediaDBMusicColumnAlbumArt), thumbnailOf(bmp(0, 0, 255)));
    EXPECT_FALSE(recordOf(apic("nothing")).contains(MediaDBMusicColumnAlbumArt));
    EXPECT_FALSE(
        recordOf(id3Frame(3, "APIC", zeroed("\0-->\0\3\0file:///etc/passwd"))).contains(MediaDBMusicColumnAlbumArt));
}

TEST_F(MP3ParserTest, NoSuchFile)
{
    EXPECT_FALSE(m_parser.build(OpenedFile::at(m_scratch.file("missing.mp3"))));
    EXPECT_FALSE(m_parser.build(OpenedFile::at(Path())));
    EXPECT_FALSE(m_parser.build(OpenedFile::at("")));
    EXPECT_FALSE(m_parser.build(OpenedFile::at("/" + std::string(5000, 'x') + ".mp3")));
    EXPECT_THAT(m_toolkit.calls, IsEmpty());
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(MP3ParserTest, PathsOfAnyBytes)
{
    for (const std::string& name :
        { std::string("new\nline.mp3"), std::string("\xED\x95\x9C.mp3"), std::string("no utf8 \xFF.mp3") }) {
        auto record = buildOf(mpegFrames(10), name);
        ASSERT_TRUE(record) << name;
        EXPECT_EQ(*record->string(MediaDBCommonColumnFileName), name);
    }
}

TEST_F(MP3ParserTest, TheLargestCoverThatCanBeStoredIsShown)
{
    constexpr std::size_t MaxArray = std::size_t { 64 } << 20; // of the bus
    Bytes bytes = readFile(sourcePath("tests/data/tags/red.jpg"));
    std::string picture(charsOf(bytes));
    picture.resize(MaxArray);
    Record record = recordOf(frame3("TIT2", "Title") + id3Frame(3, "APIC", zeroed("\0image/jpeg\0\3\0") + picture));
    EXPECT_EQ(*record.string(MediaDBMusicColumnTitle), "Title");
    EXPECT_TRUE(record.contains(MediaDBMusicColumnAlbumArt));
}

TEST_F(MP3ParserTest, AFrameWithAnOddNameHidesNoOther)
{
    EXPECT_EQ(stringOf(frame3("Date", "2005") + frame3("TIT2", "Title"), MediaDBMusicColumnTitle), "Title");
}

TEST_F(MP3ParserTest, TimedLyricsWithoutABodyAreLyrics)
{
    EXPECT_EQ(recordOf(id3Frame(3, "SYLT", "")).boolean(MediaDBMusicColumnHasLyrics), true);
    EXPECT_FALSE(recordOf(id3Frame(3, "USLT", "")).contains(MediaDBMusicColumnHasLyrics));
}

TEST_F(MP3ParserTest, TheTimestampOfV24IsNoFrameOfV23)
{
    std::string frames = frame3("TYER", "1999") + frame3("TDRC", "2005-03-21");
    EXPECT_EQ(stringOf(frames, MediaDBMusicColumnDateReleased), "1999");
    EXPECT_EQ(stringOf(frame3("TDRC", "2005-03-21"), MediaDBMusicColumnDateReleased), "(absent)");
}

TEST_F(MP3ParserTest, TagThatClaims256Megabytes)
{
    auto record = buildOf("ID3" + zeroed("\3\0\0") + "\x7F\x7F\x7F\x7F" + frame3("TIT2", "Title") + mpegFrames(77));
    ASSERT_TRUE(record);
    EXPECT_EQ(*record->string(MediaDBMusicColumnTitle), "Title");
    EXPECT_EQ(record->integer(MediaDBMusicColumnPlayLength), 2);
}

TEST_F(MP3ParserTest, FilesThatFuzzingFound)
{
    m_toolkit.initError = Error { Error::Kind::Unsupported, "no movies here" };
    std::size_t described = 0;
    for (const auto& file : std::filesystem::directory_iterator(sourcePath("tests/data/mp3"))) {
        if (file.path().extension() != ".mp3")
            continue;
        auto record = m_parser.build(OpenedFile::at(file.path().string()));
        EXPECT_FALSE(record && record->contains(MediaDBMusicColumnAlbumArt)) << file.path();
        ++described;
    }
    EXPECT_GE(described, 1u);
}

} // namespace
} // namespace mv::test
