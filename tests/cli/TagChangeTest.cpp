#include "cli/TagChange.h"

#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "cli/PictureFile.h"
#include "tests/cli/WorkerOfTheTool.h"
#include "tests/support/Scratch.h"
#include "thumbnailer/PngFile.h"

#include <gtest/gtest.h>

namespace mv::cli {
namespace {

std::vector<Option> options()
{
    std::vector<Option> all { { "clear", "FIELD", "", 0, oneOf(TagFieldNames), true } };
    for (const TagField& field : tagFields())
        all.push_back({ field.name, "VALUE", "" });
    return all;
}

Result<std::vector<TagChange>> changesOf(const std::vector<std::string>& words)
{
    MV_TRY(arguments, Arguments::parse(options(), words));
    return tagChanges(arguments);
}

Record updateFor(std::int32_t type, const Record& current, const std::vector<std::string>& words)
{
    auto record = recordForUpdate(type, current, *changesOf(words));
    EXPECT_TRUE(record.ok());
    return record.ok() ? *record : Record();
}

const Record kSong {
    { MediaDBMusicColumnTitle, "T" },
    { MediaDBMusicColumnAlbum, "A" },
    { MediaDBMusicColumnArtist, "R" },
    { MediaDBCommonColumnReservedText, "C" },
    { MediaDBMusicColumnComposer, "M" },
    { MediaDBMusicColumnGenre, "Unknown" },
    { MediaDBMusicColumnTrackNo, 3 },
    { MediaDBMusicColumnAlbumArt, Bytes { 1 } },
    { MediaDBMusicColumnPlayLength, 60 },
};

TEST(TagChange, AnMP3FilesTextsAreSentWholeAndNothingElse)
{
    EXPECT_EQ(updateFor(MVMediaTypeMP3, kSong, { "--album", "New" }),
        (Record { { MediaDBCommonColumnMediaType, MVMediaTypeMP3 }, { MediaDBMusicColumnTitle, "T" },
            { MediaDBMusicColumnAlbum, "New" }, { MediaDBMusicColumnArtist, "R" },
            { MediaDBCommonColumnReservedText, "C" }, { MediaDBMusicColumnComposer, "M" } }));
}

TEST(TagChange, AnM4AFilesCoverIsKeptByWhatIsNoPicture)
{
    EXPECT_EQ(updateFor(MVMediaTypeM4A, kSong, { "--track", "9" }),
        (Record { { MediaDBCommonColumnMediaType, MVMediaTypeM4A }, { MediaDBMusicColumnAlbumArt, "" },
            { MediaDBMusicColumnTrackNo, 9 } }));
}

TEST(TagChange, ClearingIsWhatEachWriterUnderstands)
{
    Record mp3 = updateFor(MVMediaTypeMP3, kSong, { "--clear", "title", "--clear", "genre", "--clear=art" });
    EXPECT_TRUE(mp3.find(MediaDBMusicColumnTitle)->isNull());
    EXPECT_EQ(*mp3.string(MediaDBMusicColumnGenre), "");
    EXPECT_TRUE(mp3.find(MediaDBMusicColumnAlbumArt)->isNull());
    Record m4a = updateFor(MVMediaTypeM4A, kSong, { "--clear", "title", "--clear", "disc", "--clear=art" });
    EXPECT_EQ(*m4a.string(MediaDBMusicColumnTitle), "");
    EXPECT_EQ(m4a.integer(MediaDBMusicColumnDiscNo), 0);
    EXPECT_TRUE(m4a.find(MediaDBMusicColumnAlbumArt)->isNull());
}

TEST(TagChange, RefusesWhatAFormatCannotHold)
{
    auto text = [](std::int32_t type, const std::vector<std::string>& words) {
        return recordForUpdate(type, kSong, *changesOf(words)).error().text;
    };
    EXPECT_EQ(text(MVMediaTypeMP3, { "--disc", "1" }), "the service writes no disc into MP3 files");
    EXPECT_EQ(text(MVMediaTypeMP3, { "--album-artist", "x" }), "the service writes no album-artist into MP3 files");
    EXPECT_EQ(text(MVMediaTypeM4A, { "--comment", "x" }), "the service writes no comment into M4A files");
    EXPECT_EQ(text(MVMediaTypeFLAC, { "--title", "x" }), "only MP3 and M4A files have tags that the service writes");
}

TEST(TagChange, RefusesMisuse)
{
    EXPECT_EQ(changesOf({ "--clear", "titel" }).error().text,
        "--clear is one of: title, artist, album, album-artist, composer, genre, date, comment, track, disc, art; "
        "did you mean title?");
    EXPECT_EQ(
        changesOf({ "--clear", "title", "--title", "x" }).error().text, "the title cannot be set and cleared at once");
    EXPECT_EQ(changesOf({ "--track", "300" }).error().text, "--track takes a whole number from 1 to 255, not \"300\"");
    for (const char* place : { "3/", "/3", "3/x", "3/0", "3/2", "1/2/3", "3 / 12" })
        EXPECT_FALSE(changesOf({ "--track", place }).ok()) << place;
    EXPECT_EQ(changesOf({ "--title", "caf\xe9" }).error().text, "the title is not UTF-8");
    EXPECT_EQ(changesOf({ "--art", "/no/such.jpg" }).error().text, "/no/such.jpg: there is no such file");
}

TEST(TagChange, TotalsAreTheWishedOnesOrThoseThatStillFit)
{
    const TagTotals kPresent { { 3, 12 }, { 1, 2 } };
    auto totals = [&](std::int32_t type, const std::vector<std::string>& words) {
        return totalsForUpdate(type, kPresent, *changesOf(words));
    };
    EXPECT_EQ(totals(MVMediaTypeMP3, { "--track", "4/9" }).track.total, 9);
    EXPECT_EQ(totals(MVMediaTypeMP3, { "--track", "4" }).track.total, 12);
    EXPECT_EQ(totals(MVMediaTypeMP3, { "--track", "12" }).track.total, 12);
    EXPECT_EQ(totals(MVMediaTypeMP3, { "--track", "13" }).track.total, 0);
    EXPECT_EQ(totals(MVMediaTypeMP3, { "--title", "x" }).track.total, 0);
    EXPECT_EQ(totals(MVMediaTypeMP3, { "--clear", "track" }).track.total, 0);
    // The MP4 writer has a rule of its own.
    EXPECT_EQ(totals(MVMediaTypeM4A, { "--track", "4" }).track.total, 0);
    EXPECT_EQ(totals(MVMediaTypeM4A, { "--disc", "2/3" }).disc.total, 3);
}

TEST(TagChange, CoversAreJpegPictures)
{
    test::WorkerOfTheTool worker;
    test::ScratchFolder folder;
    Bitmap red { 4, 4, {} };
    for (int i = 0; i < 16; ++i)
        red.pixels.insert(red.pixels.end(), { 255, 0, 0, 255 });
    auto png = changesOf({ "--art", folder.write("a.png", pngOf(red)) });
    ASSERT_TRUE(png.ok());
    const Bytes* converted = (*png)[0].value.data();
    ASSERT_TRUE(converted && converted->size() > 3);
    EXPECT_EQ(Bytes(converted->begin(), converted->begin() + 3), (Bytes { 0xff, 0xd8, 0xff }));
    // A JPEG stays as it is, byte for byte.
    Bytes jpeg = *jpegOf(red);
    auto same = changesOf({ "--art", folder.write("a.jpg", jpeg) });
    ASSERT_TRUE(same.ok());
    EXPECT_EQ(*(*same)[0].value.data(), jpeg);
    EXPECT_FALSE(changesOf({ "--art", folder.write("a.txt", std::string_view("text")) }).ok());
}

TEST(TagChange, KnowsWhetherAChangeWasMade)
{
    auto done
        = [](const std::vector<std::string>& words, const Record& now) { return isDone((*changesOf(words))[0], now); };
    EXPECT_TRUE(done({ "--title", "T" }, kSong));
    EXPECT_FALSE(done({ "--title", "X" }, kSong));
    EXPECT_TRUE(done({ "--track", "3" }, kSong));
    EXPECT_FALSE(done({ "--clear", "title" }, kSong));
    EXPECT_TRUE(done({ "--clear", "title" }, {}));
    EXPECT_TRUE(done({ "--clear", "genre" }, kSong));
    EXPECT_FALSE(done({ "--clear", "art" }, kSong));
    EXPECT_TRUE(done({ "--clear", "track" }, {}));
}

} // namespace
} // namespace mv::cli
