#include "Base/Media/MVMediaTypeReader.h"

#include "Base/Core/NSBundle.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <gtest/gtest.h>
#include <regex>

namespace mv {
namespace {

struct Row {
    std::int32_t code;
    const char* name;
    std::vector<const char*> extensions;
};

const std::vector<Row> Rows = {
    { 0x01000001, "MP3", { "mp3" } },
    { 0x01000002, "WMA", { "wma" } },
    { 0x01000004, "OGG", { "ogg" } },
    { 0x01000008, "WAV", { "wav" } },
    { 0x01000020, "M4A", { "m4a" } },
    { 0x01000040, "FLAC", { "flac", "flc" } },
    { 0x01000080, "3GA", { "3ga" } },
    { 0x01000200, "AMR", { "amr" } },
    { 0x01000800, "MID", { "mid" } },
    { 0x01002000, "IMY", { "imy" } },
    { 0x01020000, "AAC", { "aac" } },
    { 0x02000002, "AVI", { "avi" } },
    { 0x02000010, "M4V", { "m4v" } },
    { 0x02000020, "MOV", { "mov" } },
    { 0x02004000, "3GP", { "3gp" } },
    { 0x02020000, "MP4", { "mp4" } },
    { 0x04000001, "JPG", { "jpg", "jpeg" } },
    { 0x04000002, "BMP", { "bmp" } },
    { 0x04000004, "GIF", { "gif" } },
    { 0x04000008, "PNG", { "png" } },
};

TEST(MVMediaTypeReader, EveryRowOfTheTable)
{
    for (const Row& row : Rows) {
        EXPECT_STREQ(MVMediaTypeReader::typeName(row.code), row.name);
        for (const char* extension : row.extensions)
            EXPECT_EQ(MVMediaTypeReader::type(std::string("/x/a.") + extension), row.code) << extension;
    }
}

TEST(MVMediaTypeReader, CaseIsIgnoredInFull)
{
    EXPECT_EQ(MVMediaTypeReader::type("/x/Song.MP3"), 0x01000001);
    EXPECT_EQ(MVMediaTypeReader::type("/x/Song.Mp3"), 0x01000001);
    EXPECT_EQ(MVMediaTypeReader::type("/x/a.FLC"), 0x01000040);
    EXPECT_EQ(MVMediaTypeReader::type("/x/b.JPEG"), 0x04000001);
}

TEST(MVMediaTypeReader, OnlyTheLastExtensionCounts)
{
    EXPECT_EQ(MVMediaTypeReader::type("/x/archive.tar.mp4"), 0x02020000);
    EXPECT_EQ(MVMediaTypeReader::type("/x.mp3/noext"), 0);
}

TEST(MVMediaTypeReader, UnknownExtensionsAreZero)
{
    for (const char* path : { "/x/noext", "/x/a.mpg", "/x/a.wmv", "/x/a.tif", "/x/a.mp3 ", "/x/a.", "" })
        EXPECT_EQ(MVMediaTypeReader::type(path), 0) << path;
}

TEST(MVMediaTypeReader, ANullPathIsAMovOnPurpose) { EXPECT_EQ(MVMediaTypeReader::type(Path()), 0x02000020); }

TEST(MVMediaTypeReader, NamesOfWhatIsNoCode)
{
    EXPECT_STREQ(MVMediaTypeReader::typeName(0), "UNKNOWN");
    EXPECT_STREQ(MVMediaTypeReader::typeName(0x01000000), "UNKNOWN");
    EXPECT_STREQ(MVMediaTypeReader::typeName(-1), "UNKNOWN");
    EXPECT_STREQ(MVMediaTypeReader::typeName(0x20), "UNKNOWN");
}

TEST(MVMediaTypeReader, UnknownExtensionIsLoggedOnlyWithTheGateOpen)
{
    test::ScratchFolder bundle;
    NSBundle::setMainExecutablePathForTesting(bundle.file("mivo-mediad"));
    test::LogCapture log;
    MVMediaTypeReader::type("/x/picture.tiff");
    EXPECT_TRUE(log.lines().empty());

    bundle.write("Resources/DEBUG.plist",
        "<plist version=\"1.0\"><dict><key>DEBUG_LEVEL</key><integer>3</integer></dict></plist>");
    EXPECT_EQ(MVMediaTypeReader::type("/x/picture.tiff"), 0);
    EXPECT_EQ(MVMediaTypeReader::type(Path()), 0x02000020) << "a null path never reaches the unknown branch";
    NSBundle::setMainExecutablePathForTesting(Path());
    ASSERT_EQ(log.lines().size(), 1u);
    std::regex form(R"(\[MVMediaTypeReader\.cpp:\+\[MVMediaTypeReader type:\]-\(\d+\)\] Unknown extension: tiff)");
    EXPECT_TRUE(std::regex_match(log.lines()[0], form)) << log.lines()[0];
}

} // namespace
} // namespace mv
