// Thumbnails, EXIF and the sheet.
#include "tests/cli/ToolFixture.h"
#include "tests/service/image/ExifMaker.h"

#include <sys/stat.h>

namespace mv::cli {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST_F(ToolOnBus, ThumbnailsOfEveryForm)
{
    std::string png = picture("a.png");
    auto size = [&](const std::string& file) {
        return test::outputOf("ffprobe -loglevel error -show_entries stream=codec_name,width,height -of csv=p=0 "
            + test::shellQuoted(m_folder.file(file)));
    };
    auto thumbnail = [&](const std::string& name, const std::string& options) {
        return tool("thumbnail " + options + " " + png + " " + test::shellQuoted(m_folder.file(name)));
    };
    EXPECT_EQ(thumbnail("t.png", "").status, 0);
    EXPECT_EQ(size("t.png"), "png,100,75\n");
    EXPECT_EQ(thumbnail("t.jpg", "--size 32x32").status, 0);
    EXPECT_EQ(size("t.jpg"), "mjpeg,32,24\n");
    EXPECT_EQ(thumbnail("t.tif", "--category 1").status, 0);
    EXPECT_EQ(size("t.tif"), "tiff,200,200\n");
    EXPECT_EQ(thumbnail("v.png", "--category 3").status, 0);
    EXPECT_EQ(size("v.png"), "png,130,90\n");
    Outcome gif = thumbnail("t.gif", "");
    EXPECT_EQ(gif.status, 2);
    EXPECT_THAT(gif.err, HasSubstr("the name must end in .tif, .png or .jpg"));
    EXPECT_THAT(thumbnail("t.png", "--size 5").err, HasSubstr("--size takes WIDTHxHEIGHT"));
    EXPECT_THAT(tool("thumbnail --show " + png).err, HasSubstr("this terminal shows no pictures"));
    EXPECT_THAT(tool("thumbnail --show --protocol kitty " + png).out, StartsWith("\033_Gf=100"));
    EXPECT_THAT(tool("thumbnail --show " + tone("a.wav")).err, HasSubstr("has no picture"));
}

// The classic services give no picture of it.
TEST_F(ToolOnBus, ACoverOfFlacIsShownAsAnyOther)
{
    std::string cover = picture("cover.png");
    std::string song = m_folder.file("a.flac");
    ASSERT_EQ(test::run("ffmpeg -nostdin -v error -f lavfi -i sine=duration=0.5 -i " + cover
                  + " -map 0 -map 1 -c:v copy -disposition:v attached_pic " + song),
        0);
    std::string made = m_logs.file("t.png");
    EXPECT_EQ(tool("thumbnail " + song + " " + made).status, 0);
    EXPECT_EQ(
        test::outputOf("ffprobe -loglevel error -show_entries stream=codec_name,width,height -of csv=p=0 " + made),
        "png,64,48\n");
    EXPECT_THAT(tool("thumbnail --show --protocol kitty " + song).out, StartsWith("\033_Gf=100"));
}

TEST_F(ToolOnBus, AThumbnailTooLargeForAnAnswerIsToldSo)
{
    Outcome outcome = tool("thumbnail --size 4000x4000 " + picture("a.png") + " " + m_folder.file("t.png"));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("the answer is too large"));
}

TEST_F(ToolOnBus, PicturesAreUprightUnlessAsStored)
{
    using test::ExifMaker;
    Bytes turned = ExifMaker().shortValue(ExifMaker::Ifd0, 0x0112, 6).block();
    std::string photo = m_folder.write("a.jpg", test::jpegPicture(64, 48, turned));
    auto sizeWith = [&](const std::string& options) {
        EXPECT_EQ(tool("thumbnail " + options + " " + photo + " " + m_logs.file("t.png")).status, 0);
        return test::outputOf(
            "ffprobe -loglevel error -show_entries stream=width,height -of csv=p=0 " + m_logs.file("t.png"));
    };
    EXPECT_EQ(sizeWith(""), "75,100\n");
    EXPECT_EQ(sizeWith("--as-stored"), "100,75\n");
    EXPECT_EQ(sizeWith("--size 40x20"), "15,20\n");
    EXPECT_EQ(sizeWith("--size 40x20 --as-stored"), "26,20\n");
    EXPECT_EQ(sizeWith("--category 3"), "130,90\n");
    auto page = [&](const std::string& options) {
        EXPECT_EQ(tool("sheet " + options + " " + m_folder.path() + " " + m_logs.file("page.html")).status, 0);
        return text("page.html");
    };
    EXPECT_THAT(page(""), HasSubstr("48 × 64"));
    EXPECT_THAT(page("--as-stored"), HasSubstr("64 × 48"));
    // What the service says stays.
    EXPECT_THAT(tool("describe --json " + photo).out, HasSubstr("\"Width\":64,\"Height\":48"));
}

TEST_F(ToolOnBus, VideosGiveTheirFrame)
{
    std::string clip = made("v.mp4", "-f lavfi -i testsrc=size=320x240:duration=4 -c:v mpeg4");
    EXPECT_EQ(tool("thumbnail " + clip + " " + m_folder.file("v.png")).status, 0);
    EXPECT_THAT(tool("thumbnail --size 10x10 " + clip + " " + m_folder.file("v.png")).err,
        HasSubstr("--size and --category are for picture files only"));
}

TEST_F(ToolOnBus, ExifOfPictures)
{
    using test::ExifMaker;
    Bytes block = ExifMaker()
                      .ascii(ExifMaker::Ifd0, 0x0110, "Model \033[2J")
                      .ascii(ExifMaker::Ifd0, 0x0132, "2013:05:01 12:00:00")
                      .undefined(ExifMaker::ExifIfd, 0x9000, "0221")
                      .block();
    std::string file = m_folder.write("a.jpg", test::jpegPicture(8, 8, block));
    Outcome exif = tool("exif " + file, "TZ=UTC");
    EXPECT_EQ(exif.status, 0) << exif.err;
    EXPECT_THAT(exif.out, StartsWith(file + "\n  model             Model \\x1b[2J\n"));
    EXPECT_THAT(exif.out, HasSubstr("\n  version           Exif Version 2.21\n"));
    EXPECT_THAT(exif.out, testing::EndsWith("\n  versionNumber     221\n  date              2013-05-01 12:00:00\n"));
    EXPECT_THAT(tool("exif --json " + file).out,
        HasSubstr("\"versionNumber\":221,\"date\":\"2013-05-01T12:00:00.000000Z\"}\n"));
    Outcome none = tool("exif " + picture("a.png"));
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.err, "mivo exif: " + m_folder.file("a.png") + ": has no EXIF data\n");
}

TEST_F(ToolOnBus, AnExceptionOfTheServiceIsToldByItsName)
{
    using test::ExifMaker;
    Bytes block = ExifMaker().ascii(ExifMaker::Ifd0, 0x0132, "2013:13:01 12:00:00").block();
    std::string file = m_folder.write("a.jpg", test::jpegPicture(8, 8, block));
    Outcome described = tool("describe --record " + file);
    EXPECT_EQ(described.status, 1);
    EXPECT_THAT(
        described.err, StartsWith("mivo describe: " + file + ": the service raised NSInvalidArgumentException: "));
}

TEST_F(ToolOnBus, ASheetOfAFolder)
{
    picture("one.png");
    test::run("mkdir " + m_folder.file("sub"));
    picture("sub/two.jpg");
    tone("song.wav");
    m_folder.write("broken.png", std::string_view("no picture"));
    m_folder.write("notes.txt", std::string_view("not shown"));
    Outcome sheet = tool("sheet --title 'A & B' " + m_folder.path() + " " + m_logs.file("page.html"));
    EXPECT_EQ(sheet.status, 1);
    EXPECT_EQ(sheet.err, "mivo sheet: " + m_folder.file("broken.png") + ": is no file that the service can describe\n");
    std::string page = text("page.html");
    EXPECT_THAT(page, HasSubstr("<h1>A &amp; B</h1><p>3 files</p>"));
    EXPECT_THAT(page, HasSubstr("title=\"sub/two.jpg\""));
    EXPECT_THAT(page, HasSubstr("data:image/jpeg;base64,"));
    EXPECT_THAT(page, HasSubstr("<span class=\"facts\">0:02"));
    EXPECT_THAT(tool("sheet /no/folder x.html").err, HasSubstr("/no/folder: is no folder"));
}

TEST_F(ToolOnBus, ASheetNamesWhatItLeavesOut)
{
    picture("a.png");
    std::filesystem::copy_file(m_folder.file("a.png"), m_folder.file("b\xff.png"));
    Outcome sheet = tool("sheet " + m_folder.path() + " " + m_logs.file("page.html"));
    EXPECT_EQ(sheet.status, 1);
    EXPECT_EQ(sheet.err, "mivo sheet: " + m_folder.file("b\\xff.png") + ": its name is not UTF-8\n");
    EXPECT_THAT(text("page.html"), HasSubstr("1 file"));
}

TEST_F(ToolOnBus, ASheetOfNothingReplacesNone)
{
    std::string page = m_logs.write("page.html", std::string_view("an older page"));
    std::string broken = m_folder.write("broken.png", std::string_view("no picture"));
    Outcome sheet = tool("sheet " + m_folder.path() + " " + page);
    EXPECT_EQ(sheet.status, 1);
    EXPECT_EQ(sheet.err,
        "mivo sheet: " + broken + ": is no file that the service can describe\nmivo sheet: " + page
            + ": is not written, as no file could be described\n");
    EXPECT_EQ(text("page.html"), "an older page");
    test::run("rm " + broken);
    EXPECT_EQ(tool("sheet " + m_folder.path() + " " + page).status, 0);
    EXPECT_THAT(text("page.html"), HasSubstr("0 files")) << "a folder without any is no failure";
}

} // namespace
} // namespace mv::cli
