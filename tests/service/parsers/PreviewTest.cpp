// The picture that stands for a file, of files that the ffmpeg program makes.
#include "service/parsers/Preview.h"

#include "Base/Media/TiffForm.h"
#include "tests/service/image/ExifMaker.h"
#include "tests/support/Corpus.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <cstdlib>
#include <gtest/gtest.h>

namespace mv {
namespace {

using test::shellQuoted;

struct Rgba {
    int red = 0;
    int green = 0;
    int blue = 0;
    int alpha = 0;
};

/// Within what compression does to plain colours.
bool isNear(const Rgba& one, const Rgba& other)
{
    constexpr int Allowed = 12;
    return std::abs(one.red - other.red) <= Allowed && std::abs(one.green - other.green) <= Allowed
        && std::abs(one.blue - other.blue) <= Allowed && std::abs(one.alpha - other.alpha) <= Allowed;
}

constexpr Rgba Red { 254, 0, 0, 255 };
constexpr Rgba Blue { 0, 0, 254, 255 };

class PreviewTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (!test::haveProgram("ffmpeg"))
            GTEST_SKIP() << "the program ffmpeg is not installed";
    }
    std::string made(const std::string& name, const std::string& arguments)
    {
        std::string path = m_folder.file(name);
        EXPECT_EQ(test::run("ffmpeg -nostdin -v error -y " + arguments + " " + shellQuoted(path)), 0) << arguments;
        return path;
    }
    std::string plain(const std::string& name, const std::string& color, const std::string& size = "40x20")
    {
        return made(name, "-f lavfi -i color=" + color + ":size=" + size + ",format=rgba -frames:v 1");
    }
    static std::optional<Record> preview(const std::string& path, int side = 256)
    {
        return makePreview(OpenedFile::at(path), side);
    }

    /// Width and height of the preview, and of the original.
    static std::string sizes(const std::optional<Record>& record)
    {
        auto pixels = pixelsOf(record);
        auto side = [&](std::string_view key) { return std::to_string(record->integer(key).value_or(-1)); };
        if (!pixels)
            return "none";
        return std::to_string(pixels->width) + "x" + std::to_string(pixels->height) + " of " + side(kPreviewSourceWidth)
            + "x" + side(kPreviewSourceHeight);
    }
    static std::optional<TiffPixels> pixelsOf(const std::optional<Record>& record)
    {
        const Bytes* tiff = record ? record->data(kPreviewPicture) : nullptr;
        return tiff ? pixelsOfTiff(*tiff) : std::nullopt;
    }
    static Rgba middle(const std::optional<Record>& record)
    {
        auto pixels = pixelsOf(record);
        if (!pixels)
            return {};
        auto place = static_cast<std::size_t>(pixels->height / 2 * pixels->width + pixels->width / 2) * TiffPixelBytes;
        const std::uint8_t* pixel = &pixels->pixels[place];
        return { pixel[0], pixel[1], pixel[2], pixel[3] };
    }

    test::ScratchFolder m_folder;
};

TEST_F(PreviewTest, PicturesAreShrunkAndNeverEnlarged)
{
    std::string picture = plain("a.png", "red", "640x427");
    EXPECT_EQ(sizes(preview(picture, 256)), "256x171 of 640x427");
    EXPECT_EQ(sizes(preview(picture, 128)), "128x85 of 640x427");
    EXPECT_EQ(sizes(preview(picture, 1024)), "640x427 of 640x427");
    EXPECT_TRUE(isNear(middle(preview(picture)), Red));
    EXPECT_EQ(sizes(preview(plain("thin.png", "red", "2x600"))), "1x256 of 2x600");
    EXPECT_EQ(sizes(preview(picture, 1)), "1x1 of 640x427");
}

TEST_F(PreviewTest, PhotosAreUpright)
{
    using test::ExifMaker;
    Bytes turned = ExifMaker().shortValue(ExifMaker::Ifd0, 0x0112, 6).block();
    EXPECT_EQ(
        sizes(preview(m_folder.write("a.jpg", ByteView(test::jpegPicture(64, 48, turned))), 32)), "24x32 of 48x64");
    EXPECT_EQ(
        sizes(preview(m_folder.write("a.png", ByteView(test::pngPicture(64, 48, turned))), 32)), "24x32 of 48x64");
}

TEST_F(PreviewTest, TheSamePhotoTurnedInFourWaysLooksTheSame)
{
    MV_NEEDS_CORPUS();
    auto upright = preview(test::corpusFile("image/f1-exif.jpg"));
    ASSERT_EQ(sizes(upright), "40x80 of 40x80");
    auto expected = pixelsOf(upright);
    for (const char* name : { "image/f3-exif.jpg", "image/f6-exif.jpg", "image/f8-exif.jpg" }) {
        auto turned = preview(test::corpusFile(name));
        ASSERT_EQ(sizes(turned), "40x80 of 40x80") << name;
        auto pixels = pixelsOf(turned);
        auto isClose = [](std::uint8_t one, std::uint8_t other) { return std::abs(one - other) < 32; };
        EXPECT_TRUE(std::ranges::equal(expected->pixels, pixels->pixels, isClose)) << name;
    }
}

TEST_F(PreviewTest, TransparencyStays)
{
    std::string clear = plain("clear.png", "red@0.5");
    EXPECT_TRUE(isNear(middle(preview(clear)), { 254, 0, 0, 128 }));
    EXPECT_TRUE(isNear(middle(preview(clear, 10)), { 254, 0, 0, 128 }));
}

TEST_F(PreviewTest, SongsGiveTheirCover)
{
    std::string cover = plain("cover.png", "red");
    std::string song = "-f lavfi -i sine=duration=1 -i " + shellQuoted(cover)
        + " -map 0 -map 1 -c:v copy -disposition:v attached_pic";
    for (const char* name : { "song.mp3", "song.m4a", "song.flac", "song.aiff -write_id3v2 1" }) {
        std::string words = name;
        std::string file = words.substr(0, words.find(' '));
        std::string more = file == words ? "" : words.substr(file.size());
        auto found = preview(made(file, song + more));
        EXPECT_EQ(sizes(found), "40x20 of 40x20") << name;
        EXPECT_TRUE(isNear(middle(found), Red)) << name;
        EXPECT_FALSE(found && found->contains(kPreviewSeconds)) << name;
    }
}

TEST_F(PreviewTest, TheFrontCoverGoesBeforeOtherPictures)
{
    std::string pictures = "-f lavfi -i sine=duration=1 -i " + shellQuoted(plain("front.png", "red")) + " -i "
        + shellQuoted(plain("back.png", "blue")) + " -map 0 -map 1 -map 2 -c:v copy ";
    auto of = [&](const std::string& name, const std::string& first, const std::string& second) {
        return middle(preview(
            made(name, pictures + "-metadata:s:v:0 comment='" + first + "' -metadata:s:v:1 comment='" + second + "'")));
    };
    EXPECT_TRUE(isNear(of("a.mp3", "Cover (front)", "Cover (back)"), Red));
    EXPECT_TRUE(isNear(of("b.mp3", "Cover (back)", "Cover (front)"), Blue));
    EXPECT_TRUE(isNear(of("c.mp3", "Cover (back)", "Other"), Blue)); // the last one, as in records
}

TEST_F(PreviewTest, ASoundFileWithoutCoverSaysSo)
{
    for (const char* name : { "a.mp3", "a.m4a", "a.flac", "a.ogg", "a.wav" }) {
        auto found = preview(made(name, "-f lavfi -i sine=duration=1"));
        ASSERT_TRUE(found) << name;
        EXPECT_EQ(found->boolean(kPreviewIsMissing), true) << name;
        EXPECT_FALSE(found->contains(kPreviewPicture)) << name;
    }
}

TEST_F(PreviewTest, VideosGiveAFrameWithoutBars)
{
    auto found = preview(made("a.mp4", "-f lavfi -i testsrc=size=320x180:duration=4 -c:v mpeg4"), 128);
    EXPECT_EQ(sizes(found), "128x72 of 320x180");
    EXPECT_NEAR(found->real(kPreviewSeconds).value_or(0), 4, 0.2);
    EXPECT_EQ(sizes(preview(made("a.mkv", "-f lavfi -i testsrc=size=320x180:duration=4 -c:v mpeg4"), 128)),
        "128x72 of 320x180");
}

TEST_F(PreviewTest, AFrameThatWillDoIsOneThatNeedsNoOther)
{
    // Red at first, then green, with a box that keeps either from being of one colour; key frames only where they have
    // to be.
    auto part = [](const char* color, const char* seconds) {
        return std::string("-f lavfi -i color=") + color + ":size=128x72:rate=10:duration=" + seconds
            + ",drawbox=w=40:h=30:color=blue:t=fill ";
    };
    std::string joined = "-filter_complex '[0][1]concat' -c:v mpeg4 -q:v 2 -sc_threshold 1000000000 -g ";
    constexpr Rgba Green { 0, 128, 0, 255 };
    std::string rare = made("rare.mkv", part("red", "0.5") + part("green", "9.5") + joined + "600");
    EXPECT_TRUE(isNear(middle(preview(rare)), Red)) << "though at a tenth it is green";
    std::string often = made("often.mkv", part("red", "0.5") + part("green", "9.5") + joined + "5");
    EXPECT_TRUE(isNear(middle(preview(often)), Green));
    // Frames that come out of the decoder later than others.
    for (const char* name : { "late.mkv", "late.mp4", "late.avi", "late.ts" }) {
        std::string late = made(name, part("red", "0.5") + part("green", "9.5") + joined + "5 -bf 2");
        EXPECT_TRUE(isNear(middle(preview(late)), Green)) << name;
    }
}

TEST_F(PreviewTest, VideosAreUpright)
{
    std::string lying = made("lying.mp4", "-f lavfi -i testsrc=size=320x180:duration=1 -c:v mpeg4");
    std::string standing = made("standing.mp4", "-i " + shellQuoted(lying) + " -c copy -metadata:s:v rotate=90");
    if (test::outputOf("ffprobe -v error -show_streams " + shellQuoted(standing)).find("rotation=")
        == std::string::npos)
        standing = made("standing.mp4", "-display_rotation 90 -i " + shellQuoted(lying) + " -c copy");
    EXPECT_EQ(sizes(preview(standing, 128)), "72x128 of 180x320");
}

TEST_F(PreviewTest, AFilmThatBeginsInBlackIsShownLater)
{
    auto found = preview(made("a.mp4",
        "-f lavfi -i color=black:size=64x48:duration=3 -f lavfi -i color=red:size=64x48:duration=3 -filter_complex "
        "'[1]drawbox=x=0:y=0:w=16:h=48:color=blue:t=fill[b];[0][b]concat' -c:v mpeg4 -g 5"));
    EXPECT_TRUE(isNear(middle(found), Red)) << middle(found).red << " " << middle(found).blue;
    // A frame of one colour is more than a black one.
    auto red = preview(made("red.mp4",
        "-f lavfi -i color=black:size=64x48:duration=2 -f lavfi -i color=red:size=64x48:duration=6 -filter_complex "
        "'[0][1]concat' -c:v mpeg4 -g 5"));
    EXPECT_TRUE(isNear(middle(red), Red)) << middle(red).red;
    auto black = preview(made("black.mp4", "-f lavfi -i color=black:size=64x48:duration=4 -c:v mpeg4"));
    EXPECT_EQ(sizes(black), "64x48 of 64x48");
}

TEST_F(PreviewTest, TheCoverOfAVideoGoesBeforeItsFrames)
{
    std::string cover = shellQuoted(plain("cover.png", "blue"));
    auto film = preview(made("a.mkv",
        "-f lavfi -i testsrc=size=64x48:duration=2 -c:v mpeg4 -attach " + cover
            + " -metadata:s:t mimetype=image/png -metadata:s:t filename=cover.png"));
    EXPECT_EQ(sizes(film), "40x20 of 40x20");
    EXPECT_TRUE(isNear(middle(film), Blue));
    auto frame = makePreview(OpenedFile::at(m_folder.file("a.mkv")), PreviewWish { .side = 64, .takesCover = false });
    EXPECT_EQ(sizes(frame), "64x48 of 64x48") << "where no cover is wanted";
}

TEST_F(PreviewTest, WhatNobodyCanReadGivesNothing)
{
    EXPECT_FALSE(preview(m_folder.write("a.jpg", std::string_view("no picture"))));
    EXPECT_FALSE(preview(m_folder.write("a.mp3", std::string_view())));
    EXPECT_FALSE(preview(m_folder.file("nowhere.png")));
    EXPECT_FALSE(preview(m_folder.path()));
}

TEST_F(PreviewTest, APictureWithoutPixelsTellsWhy)
{
    Bytes jpeg = test::jpegPicture(64, 48);
    auto scan = std::ranges::search(jpeg, Bytes { 0xff, 0xda });
    ASSERT_FALSE(scan.empty());
    constexpr std::ptrdiff_t ScanHeader = 10; // of a gray picture
    jpeg.erase(scan.begin() + ScanHeader, jpeg.end());
    auto found = preview(m_folder.write("a.jpg", ByteView(jpeg)));
    ASSERT_TRUE(found && found->string(kPreviewProblem));
    EXPECT_EQ(*found->string(kPreviewProblem), "a JPEG that ends before its first row");
    EXPECT_FALSE(found->contains(kPreviewPicture));
}

} // namespace
} // namespace mv
