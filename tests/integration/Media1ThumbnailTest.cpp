#include "tests/integration/Media1Client.h"
#include "tests/integration/Operations.h"
#include "tests/integration/RunningService.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

// The thumbnails of the interface for new programs, of files that the ffmpeg program makes.

namespace mv {
namespace {

using test::flagOption;
using test::Media1Answer;
using test::Media1Client;
using test::Media1Options;
using test::textOption;

constexpr const char* InvalidArgs = "org.freedesktop.DBus.Error.InvalidArgs";

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

class Media1Thumbnail : public test::RunningService {
protected:
    void SetUp() override
    {
        if (!test::haveProgram("ffmpeg"))
            GTEST_SKIP() << "the program ffmpeg is not installed";
        RunningService::SetUp();
    }
    std::string made(const std::string& name, const std::string& arguments)
    {
        std::string path = m_folder.file(name);
        EXPECT_EQ(test::run("ffmpeg -nostdin -v error -y " + arguments + " " + test::shellQuoted(path)), 0);
        return path;
    }
    std::string plain(const std::string& name, const std::string& color, const std::string& size)
    {
        return made(name, "-f lavfi -i color=" + color + ":size=" + size + ",format=rgba -frames:v 1");
    }

    static std::string sizeOf(const Media1Answer& answer)
    {
        if (!answer.ok())
            return answer.error;
        return answer.fact("mivo:width") + " " + answer.fact("mivo:height") + " " + answer.fact("mivo:mimeType");
    }
    static Bytes bytesOf(const Media1Answer& answer)
    {
        Bytes bytes(static_cast<std::size_t>(lseek(answer.picture.get(), 0, SEEK_END)));
        EXPECT_EQ(pread(answer.picture.get(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
        return bytes;
    }
    /// Of a thumbnail as it comes without a file format.
    Rgba middle(const std::string& path, const Media1Options& more = {})
    {
        Media1Options options { textOption("format", "rgba") };
        options.insert(options.end(), more.begin(), more.end());
        Media1Answer answer = m_media.thumbnail(path, 64, options);
        if (!answer.ok())
            return {};
        std::size_t width = std::stoul(answer.fact("mivo:width").substr(2));
        std::size_t height = std::stoul(answer.fact("mivo:height").substr(2));
        Bytes pixels = bytesOf(answer);
        EXPECT_EQ(pixels.size(), width * height * 4);
        const std::uint8_t* pixel = &pixels.at((height / 2 * width + width / 2) * 4);
        return { pixel[0], pixel[1], pixel[2], pixel[3] };
    }

    test::ScratchFolder m_folder;
    Media1Client m_media { m_client };
};

TEST_F(Media1Thumbnail, FitsIntoTheSquareAndIsNeverEnlarged)
{
    std::string picture = plain("a.png", "red", "640x427");
    EXPECT_EQ(sizeOf(m_media.thumbnail(picture, 256)), "u 256 u 171 s image/png");
    EXPECT_EQ(sizeOf(m_media.thumbnail(picture, 2048)), "u 640 u 427 s image/png");
    EXPECT_EQ(sizeOf(m_media.thumbnail(picture, 1)), "u 1 u 1 s image/png");
    EXPECT_TRUE(isNear(middle(picture), Red));
}

TEST_F(Media1Thumbnail, IsASealedFileAtItsStart)
{
    Media1Answer answer = m_media.thumbnail(plain("a.png", "red", "64x48"), 32);
    ASSERT_TRUE(answer.ok()) << answer.error << answer.text;
    int file = answer.picture.get();
    EXPECT_EQ(lseek(file, 0, SEEK_CUR), 0);
    EXPECT_EQ(fcntl(file, F_GET_SEALS), F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SHRINK | F_SEAL_SEAL);
    EXPECT_EQ(answer.files.front().size(), 3u);
}

TEST_F(Media1Thumbnail, ComesInThreeFormats)
{
    std::string picture = plain("a.png", "red", "64x48");
    EXPECT_EQ(sizeOf(m_media.thumbnail(picture, 32, { textOption("format", "png") })), "u 32 u 24 s image/png");
    Media1Answer jpeg = m_media.thumbnail(picture, 32, { textOption("format", "jpeg") });
    EXPECT_EQ(sizeOf(jpeg), "u 32 u 24 s image/jpeg");
    std::string copy = m_folder.write("copy.jpg", ByteView(bytesOf(jpeg)));
    EXPECT_TRUE(isNear(middle(copy), Red));
    Media1Answer raw = m_media.thumbnail(picture, 32, { textOption("format", "rgba") });
    EXPECT_EQ(sizeOf(raw), "u 32 u 24 s image/x-rgba");
    EXPECT_EQ(bytesOf(raw).size(), 32u * 24u * 4u);
}

TEST_F(Media1Thumbnail, WhatIsClearStaysSo)
{
    std::string clear = plain("clear.png", "blue@0.0", "64x48");
    EXPECT_EQ(middle(clear).alpha, 0);
    std::string png = m_folder.write("again.png", ByteView(bytesOf(m_media.thumbnail(clear, 32))));
    EXPECT_EQ(middle(png).alpha, 0);
    Media1Answer jpeg = m_media.thumbnail(clear, 32, { textOption("format", "jpeg") });
    std::string white = m_folder.write("white.jpg", ByteView(bytesOf(jpeg)));
    EXPECT_TRUE(isNear(middle(white), { 255, 255, 255, 255 })) << "and is white where there can be nothing clear";
}

/// A photo of 64 x 48 that is to be turned.
std::string turnedPhoto(const Bytes& jpeg)
{
    static constexpr std::uint8_t Segment[] { 0xFF, 0xE1, 0, 34, 'E', 'x', 'i', 'f', 0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8,
        0, 1, 0x01, 0x12, 0, 3, 0, 0, 0, 1, 0, 6, 0, 0, 0, 0, 0, 0 };
    std::string photo(charsOf(jpeg));
    photo.insert(2, charsOf(ByteView(Segment)));
    return photo;
}

TEST_F(Media1Thumbnail, IsUprightUnlessAskedOtherwise)
{
    Bytes plainPhoto = test::readFile(made("a.jpg", "-f lavfi -i color=red:size=64x48 -frames:v 1"));
    std::string photo = m_folder.write("turned.jpg", turnedPhoto(plainPhoto));
    EXPECT_EQ(sizeOf(m_media.thumbnail(photo, 32)), "u 24 u 32 s image/png");
    EXPECT_EQ(sizeOf(m_media.thumbnail(photo, 32, { flagOption("upright", true) })), "u 24 u 32 s image/png");
    EXPECT_EQ(sizeOf(m_media.thumbnail(photo, 32, { flagOption("upright", false) })), "u 32 u 24 s image/png");
    EXPECT_EQ(m_media.describe(photo).fact("mivo:orientation"), "u 6");
}

TEST_F(Media1Thumbnail, OfASongIsItsFrontCover)
{
    std::string back = plain("back.png", "red", "60x60");
    std::string front = plain("front.png", "blue", "80x60");
    std::string inputs = "-f lavfi -i sine=duration=1 -i " + test::shellQuoted(back) + " -i " + test::shellQuoted(front)
        + " -map 0 -map 1 -map 2 -c:v copy -disposition:v attached_pic"
        + " -metadata:s:v:0 comment='Cover (back)' -metadata:s:v:1 comment='Cover (front)'";
    for (const char* name : { "a.mp3", "a.flac" }) {
        std::string path = made(name, inputs);
        EXPECT_EQ(sizeOf(m_media.thumbnail(path, 40)), "u 40 u 30 s image/png") << name;
        EXPECT_TRUE(isNear(middle(path), Blue)) << name;
    }
    std::string bare = made("bare.mp3", "-f lavfi -i sine=duration=1");
    Media1Answer none = m_media.thumbnail(bare, 40);
    EXPECT_EQ(none.error, "NoPicture");
    EXPECT_EQ(none.text, "\"bare.mp3\" has nothing to make a thumbnail of.");
}

TEST_F(Media1Thumbnail, OfAVideoIsAFrameThatTells)
{
    // Black up to a third, then blue; the frame at a tenth shows nothing.
    std::string video = made("a.mkv",
        "-f lavfi -i color=black:size=128x72:rate=5:duration=2 -f lavfi -i color=blue:size=128x72:rate=5:duration=4"
        " -filter_complex '[0][1]concat' -c:v mpeg4");
    EXPECT_EQ(sizeOf(m_media.thumbnail(video, 64)), "u 64 u 36 s image/png");
    EXPECT_TRUE(middle(video).alpha == 255);
    std::string red = made("b.mkv", "-f lavfi -i color=red:size=128x72:rate=5:duration=2 -c:v mpeg4");
    EXPECT_TRUE(isNear(middle(red), Red));
}

TEST_F(Media1Thumbnail, OfAHandleIsTheSame)
{
    std::string picture = plain("a.png", "red", "64x48");
    UniqueFd file(open(picture.c_str(), O_RDONLY));
    lseek(file.get(), 10, SEEK_SET);
    EXPECT_EQ(sizeOf(m_media.thumbnailFile(file.get(), "", 32)), "u 32 u 24 s image/png");
    EXPECT_EQ(lseek(file.get(), 0, SEEK_CUR), 10);
    UniqueFd closed(open(picture.c_str(), O_PATH));
    EXPECT_EQ(m_media.thumbnailFile(closed.get(), "x", 32).error, "AccessDenied");
}

TEST_F(Media1Thumbnail, WrongArgumentsAreRefused)
{
    std::string picture = plain("a.png", "red", "64x48");
    EXPECT_EQ(m_media.thumbnail(picture, 0).error, InvalidArgs);
    EXPECT_EQ(m_media.thumbnail(picture, 2049).error, InvalidArgs);
    EXPECT_EQ(m_media.thumbnail("a.png", 10).error, InvalidArgs);
    EXPECT_EQ(m_media.thumbnail(picture, 10, { textOption("format", "gif") }).error, InvalidArgs);
    EXPECT_EQ(m_media.thumbnail(picture, 10, { flagOption("format", true) }).error, InvalidArgs);
    EXPECT_EQ(m_media.thumbnail(picture, 10, { textOption("upright", "yes") }).error, InvalidArgs);
    EXPECT_TRUE(m_media.thumbnail(picture, 10, { flagOption("margins", true) }).ok()) << "for later versions";
}

/// The header of a picture of 40,000 pixels in the square.
std::string tooManyPixels()
{
    static constexpr std::uint8_t Header[54] { 'B', 'M', 0, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0, 40, 0, 0, 0, 0x40, 0x9C,
        0, 0, 0x40, 0x9C, 0, 0, 1, 0, 24, 0 };
    return std::string(charsOf(ByteView(Header))) + std::string(1000, 'x');
}

TEST_F(Media1Thumbnail, SaysWhyThereIsNone)
{
    EXPECT_EQ(m_media.thumbnail(m_folder.file("nobody"), 10).error, "NotFound");
    EXPECT_EQ(m_media.thumbnail(m_folder.path(), 10).error, "NotRegular");
    EXPECT_EQ(m_media.thumbnail(m_folder.write("a.txt", "no picture"), 10).error, "NotMedia");
    std::string large = m_folder.write("large.bmp", tooManyPixels());
    EXPECT_EQ(m_media.thumbnail(large, 10).error, "TooLarge");
    EXPECT_EQ(m_media.thumbnail(m_folder.write("cut.bmp", tooManyPixels().substr(0, 54)), 10).error, "TooLarge");
}

} // namespace
} // namespace mv
