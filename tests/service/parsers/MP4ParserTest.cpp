// Every step and column of the description, and the whole dump.
#include "service/parsers/MP4Parser.h"

#include "Base/Media/GenreTable.h"
#include "Base/Media/MediaDB.h"
#include "platform/NSImage.h"
#include "service/image/NSImageExtension.h"
#include "tests/support/Corpus.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Mp4Maker.h"
#include "tests/support/Scratch.h"

#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {
namespace {

using namespace test;

class MP4ParserTest : public testing::Test {
protected:
    std::string fileOf(const Mp4Spec& spec, const std::string& name = "song.m4a")
    {
        return m_folder.write(name, ByteView(makeMp4(spec).bytes));
    }
    Record described(const Mp4Spec& spec)
    {
        auto record = MP4Parser {}.build(OpenedFile::at(fileOf(spec)));
        EXPECT_TRUE(record);
        return record.value_or(Record {});
    }
    Record withItems(const Bytes& items)
    {
        Mp4Spec spec;
        spec.items = items;
        return described(spec);
    }

    ScratchFolder m_folder;
};

double realOf(const Record& record, std::string_view key)
{
    const Value* value = record.find(key);
    EXPECT_TRUE(value && value->real()) << key;
    return value && value->real() ? *value->real() : -1;
}

std::string textOf(const Record& record, std::string_view key)
{
    return record.string(key) ? *record.string(key) : "(none)";
}

TEST_F(MP4ParserTest, WhatCannotBeOpenedIsLoggedAndNil)
{
    std::string fifo = m_folder.file("fifo.m4a");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const Path& path : { Path {}, Path(""), Path(m_folder.file("missing.m4a")), Path(m_folder.path()), Path(fifo),
             Path(m_folder.write("text.m4a", "no movie")), Path(m_folder.write("empty.m4a", "")) }) {
        LogCapture log;
        EXPECT_FALSE(MP4Parser {}.build(OpenedFile::at(path))) << path.text();
        EXPECT_EQ(log.lines(), std::vector<std::string> { "MP4Parser file open fail" });
    }
}

TEST_F(MP4ParserTest, ABareFileHasTheColumnsOfEveryFile)
{
    std::string path = fileOf({});
    Date before = Date::now();
    LogCapture log;
    auto record = MP4Parser {}.build(OpenedFile::at(path));
    Date after = Date::now();
    ASSERT_TRUE(record);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_EQ(textOf(*record, MediaDBCommonColumnFilePath), path);
    EXPECT_EQ(textOf(*record, MediaDBCommonColumnFileName), "song.m4a");
    EXPECT_EQ(*record->find(MediaDBCommonColumnIsManaged), Value(false));
    EXPECT_EQ(*record->find(MediaDBMusicColumnPlayCount), Value(0));
    EXPECT_EQ(*record->find(MediaDBMusicColumnRating), Value(0));
    EXPECT_EQ(*record->find(MediaDBMusicColumnAlbumRating), Value(0));
    EXPECT_GE(*record->date(MediaDBMusicColumnDateAdded), before);
    EXPECT_LE(*record->date(MediaDBMusicColumnDateAdded), after);
    auto attributes = attributesAt(path);
    EXPECT_EQ(*record->date(MediaDBMusicColumnDateModified), attributes->modificationDate);
    EXPECT_EQ(*record->find(MediaDBCommonColumnFileSize), Value(attributes->size));
    EXPECT_EQ(*record->find(MediaDBCommonColumnMediaType), Value(0x01000020));
    EXPECT_EQ(textOf(*record, MediaDBCommonColumnFileTypeString), "M4A");
    EXPECT_EQ(*record->find(MediaDBMusicColumnDRMProperty), Value(0));
    EXPECT_EQ(*record->find(MediaDBMusicColumnIsLicenseExpired), Value(false));
    EXPECT_EQ(*record->find(MediaDBMusicColumnHasLyrics), Value(false));
    EXPECT_EQ(*record->find(MediaDBMusicColumnPlayState), Value(0));
    EXPECT_EQ(*record->find(MediaDBCommonColumnLinkError), Value(false));
    EXPECT_EQ(*record->find(MediaDBMusicColumnIsReadOnly), Value(false));
    EXPECT_EQ(realOf(*record, MediaDBMusicColumnPlayLength), 1.0);
    EXPECT_EQ(realOf(*record, MediaDBMusicColumnSamplerate), 44100.0);
    EXPECT_EQ(*record->find(MediaDBMusicColumnBitrate), Value(4)); // 600 bytes in a second: 4800
    EXPECT_EQ(record->size(), 20u);
}

TEST_F(MP4ParserTest, TheMediaTypeIsThatOfTheExtension)
{
    EXPECT_EQ(
        textOf(*MP4Parser {}.build(OpenedFile::at(fileOf({}, "a.mp4"))), MediaDBCommonColumnFileTypeString), "MP4");
    EXPECT_EQ(
        MP4Parser {}.build(OpenedFile::at(fileOf({}, "a.mp4")))->integer(MediaDBCommonColumnMediaType), 0x02020000);
    EXPECT_EQ(MP4Parser {}.build(OpenedFile::at(fileOf({}, "noextension")))->integer(MediaDBCommonColumnMediaType), 0);
    EXPECT_EQ(textOf(*MP4Parser {}.build(OpenedFile::at(fileOf({}, "noextension"))), MediaDBCommonColumnFileTypeString),
        "UNKNOWN");
}

TEST_F(MP4ParserTest, TagFieldsBecomeColumns)
{
    Record record = withItems(joined({ textItem("\251nam", "Title ä"), textItem("\251alb", "Album"),
        textItem("\251ART", "Artist"), textItem("aART", "Album artist"), textItem("\251wrt", "Composer"),
        textItem("\251day", "2001-02-03T00:00:00Z"), item("trkn", 0, pair(5, 12, 8)), item("disk", 0, pair(2, 3, 6)),
        textItem("\251lyr", "la la"), textItem("\251cmt", "comment") }));
    EXPECT_EQ(textOf(record, MediaDBMusicColumnTitle), "Title ä");
    EXPECT_EQ(textOf(record, MediaDBMusicColumnAlbum), "Album");
    EXPECT_EQ(textOf(record, MediaDBMusicColumnArtist), "Artist");
    EXPECT_EQ(textOf(record, MediaDBMusicColumnAlbumArtist), "Album artist");
    EXPECT_EQ(textOf(record, MediaDBMusicColumnComposer), "Composer");
    EXPECT_EQ(textOf(record, MediaDBMusicColumnDateReleased), "2001-02-03T00:00:00Z");
    EXPECT_EQ(*record.find(MediaDBMusicColumnTrackNo), Value(5));
    EXPECT_EQ(*record.find(MediaDBMusicColumnDiscNo), Value(2));
    EXPECT_EQ(*record.find(MediaDBMusicColumnHasLyrics), Value(false)); // deliberate
    EXPECT_FALSE(record.contains(MediaDBCommonColumnReservedText));
    EXPECT_EQ(record.size(), 28u);
}

TEST_F(MP4ParserTest, ATrackNumberOfZeroIsANumber)
{
    Record record = withItems(item("trkn", 0, pair(0, 0, 8)));
    EXPECT_EQ(*record.find(MediaDBMusicColumnTrackNo), Value(0));
    EXPECT_FALSE(record.contains(MediaDBMusicColumnDiscNo));
    EXPECT_EQ(*withItems(item("trkn", 0, pair(65535, 0, 8))).find(MediaDBMusicColumnTrackNo), Value(65535));
}

TEST_F(MP4ParserTest, GenreNumbersCountFromOne)
{
    auto genre = [this](int number) {
        return textOf(
            withItems(item("gnre", 0, test::number(static_cast<std::uint64_t>(number), 2))), MediaDBMusicColumnGenre);
    };
    EXPECT_EQ(genre(1), "Blues");
    EXPECT_EQ(genre(148), "Synthpop");
    EXPECT_EQ(genre(0), "(none)");
    EXPECT_EQ(genre(149), "(none)");
    EXPECT_EQ(genre(65535), "(none)");
    for (std::size_t i = 0; i < ID3_v1_genre_description.size(); ++i)
        EXPECT_EQ(genre(static_cast<int>(i) + 1), ID3_v1_genre_description[i]);
}

TEST_F(MP4ParserTest, TheGenreTextWins)
{
    Bytes number = item("gnre", 0, test::number(18, 2));
    Bytes text = textItem("\251gen", "Own genre");
    EXPECT_EQ(textOf(withItems(joined({ number, text })), MediaDBMusicColumnGenre), "Own genre");
    EXPECT_EQ(textOf(withItems(joined({ text, number })), MediaDBMusicColumnGenre), "Own genre");
    EXPECT_EQ(textOf(withItems(joined({ number, textItem("\251gen", "") })), MediaDBMusicColumnGenre), "");
}

TEST_F(MP4ParserTest, TheFirstPictureBecomesAThumbnail)
{
    MV_NEEDS_CORPUS();
    Bytes picture = readFile(corpusFile("bad/hopper_bad_exif.jpg"));
    auto image = NSImage::initWithData(picture);
    ASSERT_TRUE(image);
    Record record = withItems(box("covr", { dataBox(13, picture), dataBox(14, bytes("second")) }));
    ASSERT_TRUE(record.data(MediaDBMusicColumnAlbumArt));
    EXPECT_EQ(*record.data(MediaDBMusicColumnAlbumArt),
        makeThumbnailForContentCategory(*image, ThumbnailCategoryAlbumArt).value());
    // Only the first is tried.
    Record broken = withItems(box("covr", { dataBox(13, bytes("no picture")), dataBox(13, picture) }));
    EXPECT_FALSE(broken.contains(MediaDBMusicColumnAlbumArt));
    Record empty = withItems(box("covr", { dataBox(13, {}), dataBox(13, picture) }));
    EXPECT_FALSE(empty.contains(MediaDBMusicColumnAlbumArt));
}

TEST_F(MP4ParserTest, TheSoundTrackGivesLengthRateAndBits)
{
    auto sound = [this](TrackSpec track) {
        Mp4Spec spec;
        spec.tracks = { { .id = 8, .handler = "vide", .code = "avc1", .timeScale = 90000 }, track, { .id = 9 } };
        return described(spec);
    };
    Record fractions = sound({ .timeScale = 44100, .duration = 1'234'567 });
    EXPECT_EQ(realOf(fractions, MediaDBMusicColumnPlayLength), 27.0);
    EXPECT_EQ(realOf(fractions, MediaDBMusicColumnSamplerate), 44100.0);
    Record coarse = sound({ .timeScale = 600, .duration = 599 });
    EXPECT_EQ(realOf(coarse, MediaDBMusicColumnSamplerate), 600.0);
    EXPECT_EQ(realOf(coarse, MediaDBMusicColumnPlayLength), 0.0);
    Record wide = sound({ .timeScale = 1, .duration = 1ull << 40, .version = 1 });
    EXPECT_EQ(realOf(wide, MediaDBMusicColumnPlayLength), static_cast<double>(1ull << 40));
    // 32,000,000 bytes in a second: 256,000 kbit/s.
    Record fast = sound({ .timeScale = 1, .duration = 1, .sampleSizes = { 16'000'000, 16'000'000 } });
    EXPECT_EQ(*fast.find(MediaDBMusicColumnBitrate), Value(256'000));
}

TEST_F(MP4ParserTest, TheSoundTrackMayHaveThePicturesId)
{
    for (std::uint32_t id : { 1u, 0u, UINT32_MAX }) {
        Mp4Spec spec;
        spec.tracks = { { .id = id, .handler = "vide", .code = "avc1", .timeScale = 90000, .duration = 900000 },
            { .id = id, .timeScale = 8000, .duration = 24000, .sampleSizes = { 3000, 3000 } } };
        Record record = described(spec);
        EXPECT_EQ(realOf(record, MediaDBMusicColumnPlayLength), 3.0);
        EXPECT_EQ(realOf(record, MediaDBMusicColumnSamplerate), 8000.0);
        EXPECT_EQ(*record.find(MediaDBMusicColumnBitrate), Value(16));
    }
}

TEST_F(MP4ParserTest, ABitRateBelowOneKilobitIsZeroAndOneOfNoneIsAbsent)
{
    Mp4Spec slow;
    slow.tracks = { { .timeScale = 1, .duration = 10, .sampleSizes = { 100 } } }; // 80 bits a second
    EXPECT_EQ(*described(slow).find(MediaDBMusicColumnBitrate), Value(0));
    Mp4Spec none;
    none.tracks = { { .timeScale = 1, .duration = 0 } };
    Record record = described(none);
    EXPECT_FALSE(record.contains(MediaDBMusicColumnBitrate));
    EXPECT_EQ(realOf(record, MediaDBMusicColumnPlayLength), 0.0);
}

TEST_F(MP4ParserTest, WithoutASoundTrackThereIsNoLength)
{
    Mp4Spec spec;
    spec.tracks = { { .handler = "vide", .code = "avc1" } };
    Record record = described(spec);
    EXPECT_FALSE(record.contains(MediaDBMusicColumnPlayLength));
    EXPECT_FALSE(record.contains(MediaDBMusicColumnSamplerate));
    EXPECT_FALSE(record.contains(MediaDBMusicColumnBitrate));
    EXPECT_EQ(record.size(), 17u);
}

TEST_F(MP4ParserTest, ATimeScaleOfZeroGivesNeitherLengthNorRate)
{
    Mp4Spec spec;
    spec.tracks = { { .timeScale = 0 } };
    Record record = described(spec);
    EXPECT_FALSE(record.contains(MediaDBMusicColumnPlayLength));
    EXPECT_FALSE(record.contains(MediaDBMusicColumnSamplerate));
    EXPECT_FALSE(record.contains(MediaDBMusicColumnBitrate));
}

TEST_F(MP4ParserTest, IsTheSameForMovieBoxesInEveryPlace)
{
    for (bool first : { true, false }) {
        Mp4Spec spec;
        spec.items = textItem("\251nam", "placed");
        spec.movieFirst = first;
        spec.inFront = first ? joined({ bytes("ID3"), Bytes { 3, 0, 0, 0, 0, 0, 9 }, Bytes(9) }) : Bytes {};
        EXPECT_EQ(textOf(described(spec), MediaDBMusicColumnTitle), "placed");
    }
}

/// Every field that the dump knows, each with a value of its own.
Bytes everyItem()
{
    return joined({ textItem("\251nam", "n"), textItem("\251ART", "a"), textItem("aART", "aa"),
        textItem("\251alb", "al"), textItem("\251grp", "g"), textItem("\251wrt", "w"), textItem("\251cmt", "c"),
        textItem("\251gen", "ge"), item("gnre", 0, number(18, 2)), textItem("\251day", "2001"),
        item("trkn", 0, pair(5, 12, 8)), item("disk", 0, pair(1, 2, 6)), item("tmpo", 21, number(65535, 2)),
        item("cpil", 21, number(1, 1)), textItem("tvsh", "show"), textItem("tvnn", "net"), textItem("tven", "ep"),
        item("tvsn", 21, number(3, 4)), item("tves", 21, number(4294967295, 4)), textItem("desc", "de"),
        textItem("ldes", "lde"), textItem("\251lyr", "one\ntwo"), textItem("sonm", "s1"), textItem("soar", "s2"),
        textItem("soaa", "s3"), textItem("soal", "s4"), textItem("soco", "s5"), textItem("sosn", "s6"),
        box("covr", { dataBox(13, Bytes(300, 1)), dataBox(14, Bytes(5, 2)) }), textItem("cprt", "co"),
        textItem("\251too", "tool"), textItem("\251enc", "enc"), textItem("purd", "2010-01-01"),
        item("pcst", 21, number(1, 1)), textItem("keyw", "k1,k2"), textItem("catg", "cat"),
        item("hdvd", 21, number(2, 1)), item("stik", 21, number(21, 1)), item("rtng", 21, number(4, 1)),
        item("pgap", 21, number(0, 1)), item("cnID", 21, number(11, 4)), item("atID", 21, number(12, 4)),
        item("plID", 21, number(18446744073709551615u, 8)), item("geID", 21, number(13, 4)), textItem("xid ", "x:id"),
        textItem("apID", "me@here"), item("akID", 21, number(1, 1)), item("sfID", 21, number(143441, 4)),
        item("cmID", 21, number(99, 4)), textItem("purl", "not printed") });
}

std::string dumpOf(const std::string& path, int& status)
{
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* out = open_memstream(&text, &size);
    status = MP4Parser {}.testMp4v2(*EditableFile::at(path), out);
    std::fclose(out);
    std::string dump(text, size);
    std::free(text);
    return dump;
}

TEST_F(MP4ParserTest, TheDumpHasEveryFieldInItsOrder)
{
    Mp4Spec spec;
    spec.items = everyItem();
    std::string path = fileOf(spec);
    int status = -1;
    std::string dump = dumpOf(path, status);
    EXPECT_EQ(status, 0);
    std::regex address("data=0x[0-9a-f]+");
    EXPECT_EQ(std::regex_replace(dump, address, "data=ADDRESS"),
        "name: n\nartist: a\nalbumArtist: aa\nalbum: al\ngrouping: g\ncomposer: w\ncomments: c\ngenre: ge\n"
        "genreType: 18\nreleaseDate: 2001\ntrack: index=5 total=12\ndisk: index=1 total=2\ntempo: 65535\n"
        "compilation: 1\ntvShow: show\ntvNetwork: net\ntvEpisodeID: ep\ntvSeason: 3\ntvEpisode: 4294967295\n"
        "description: de\nlongDescription: lde\nlyrics: one\ntwo\nsortName: s1\nsortArtist: s2\nsortAlbumArtist: s3\n"
        "sortAlbum: s4\nsortComposer: s5\nsortTVShow: s6\nart[0]: type=3 size=300 data=ADDRESS\n"
        "art[1]: type=4 size=5 data=ADDRESS\ncopyright: co\nencodingTool: tool\nencodedBy: enc\n"
        "purchaseDate: 2010-01-01\npodcast: 1\nkeywords: k1,k2\ncategory: cat\nhdVideo: 2\nmediaType: 21\n"
        "contentRating: 4\ngapless: 0\ncontentID: 11\nartistID: 12\nplaylistID: 18446744073709551615\ngenreID: 13\n"
        "xid: x:id\niTunesAccount: me@here\niTunesAccountType: 1\niTunesCountry: 143441\n");
}

TEST_F(MP4ParserTest, TheDumpOfAFileWithoutTagsIsEmptyAndWritesNothing)
{
    std::string path = fileOf({});
    Bytes before = readFile(path);
    struct stat facts { };
    ASSERT_EQ(stat(path.c_str(), &facts), 0);
    int status = -1;
    EXPECT_EQ(dumpOf(path, status), "");
    EXPECT_EQ(status, 0);
    EXPECT_EQ(readFile(path), before);
    struct stat after { };
    ASSERT_EQ(stat(path.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, facts.st_ino);
}

TEST_F(MP4ParserTest, TheDumpOfWhatCannotBeOpenedSaysSo)
{
    int status = -1;
    EXPECT_EQ(dumpOf(m_folder.file("missing.m4a"), status), "MP4Modify failed\n");
    EXPECT_EQ(status, 1);
    EXPECT_EQ(dumpOf(m_folder.write("text.m4a", "no movie"), status), "MP4Modify failed\n");
    EXPECT_EQ(status, 1);
}

TEST_F(MP4ParserTest, TheDumpGoesToStandardOutputByDefault)
{
    Mp4Spec spec;
    spec.items = textItem("\251nam", "out");
    std::string path = fileOf(spec);
    testing::internal::CaptureStdout();
    EXPECT_EQ(MP4Parser {}.testMp4v2(*EditableFile::at(path)), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "name: out\n");
}

TEST(MP4ParserCorpus, RecordsHaveOnlyTheColumnsOfTheirTable)
{
    MV_NEEDS_CORPUS();
    const std::set<std::string_view> allowed = { MediaDBCommonColumnFilePath, MediaDBCommonColumnFileName,
        MediaDBCommonColumnIsManaged, MediaDBMusicColumnTitle, MediaDBMusicColumnAlbum, MediaDBMusicColumnArtist,
        MediaDBMusicColumnAlbumArtist, MediaDBMusicColumnComposer, MediaDBMusicColumnTrackNo, MediaDBMusicColumnDiscNo,
        MediaDBMusicColumnDateReleased, MediaDBMusicColumnGenre, MediaDBMusicColumnAlbumArt,
        MediaDBMusicColumnPlayCount, MediaDBMusicColumnRating, MediaDBMusicColumnAlbumRating,
        MediaDBMusicColumnDateAdded, MediaDBMusicColumnDateModified, MediaDBCommonColumnFileSize,
        MediaDBCommonColumnMediaType, MediaDBCommonColumnFileTypeString, MediaDBMusicColumnDRMProperty,
        MediaDBMusicColumnIsLicenseExpired, MediaDBMusicColumnHasLyrics, MediaDBMusicColumnPlayState,
        MediaDBCommonColumnLinkError, MediaDBMusicColumnIsReadOnly, MediaDBMusicColumnPlayLength,
        MediaDBMusicColumnSamplerate, MediaDBMusicColumnBitrate };
    for (const std::string& name : corpusFiles("mp4")) {
        auto record = MP4Parser {}.build(OpenedFile::at(corpusFile(name)));
        ASSERT_TRUE(record) << name;
        for (const auto& [key, value] : *record)
            EXPECT_TRUE(allowed.contains(key)) << name << " " << key;
    }
}

TEST(MP4ParserCorpus, AKnownSong)
{
    MV_NEEDS_CORPUS();
    auto record = MP4Parser {}.build(OpenedFile::at(corpusFile("mp4/made-gnre-gen-covr.m4a")));
    ASSERT_TRUE(record);
    EXPECT_EQ(textOf(*record, MediaDBMusicColumnTitle), "Both genres");
    EXPECT_EQ(textOf(*record, MediaDBMusicColumnGenre), "Own genre");
    EXPECT_TRUE(record->data(MediaDBMusicColumnAlbumArt));
    EXPECT_EQ(realOf(*record, MediaDBMusicColumnSamplerate), 8000.0);
    auto numeric = MP4Parser {}.build(OpenedFile::at(corpusFile("mp4/sample_with_numeric_genre.mp4")));
    EXPECT_EQ(textOf(*numeric, MediaDBMusicColumnGenre), "Metal");
}

} // namespace
} // namespace mv
