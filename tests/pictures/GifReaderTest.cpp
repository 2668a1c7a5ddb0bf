#include "tests/pictures/Decoded.h"
#include "tests/pictures/GifMaker.h"

namespace mv {
namespace {

using namespace test;

/// Colour i is (i, 255 - i, 3 * i).
Bytes rampPalette()
{
    Bytes palette;
    for (int i = 0; i < 256; ++i)
        palette.insert(palette.end(),
            { static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(255 - i), static_cast<std::uint8_t>(3 * i) });
    return palette;
}

Color rampColor(int i)
{
    return { static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(255 - i), static_cast<std::uint8_t>(3 * i), 255 };
}

TEST(GifReader, EveryPixelIsRight)
{
    for (bool interlaced : { false, true }) {
        GifWish wish { .screenWidth = 37,
            .screenHeight = 29,
            .width = 37,
            .height = 29,
            .interlaced = interlaced,
            .palette = rampPalette() };
        wish.index = [](int x, int y) { return (x * 5 + y * 11) % 256; };
        Bytes gif = makeGif(wish);
        Bitmap bitmap = decoded(gif);
        for (int y = 0; y < 29; ++y) {
            for (int x = 0; x < 37; ++x)
                ASSERT_EQ(pixelOf(bitmap, x, y), rampColor((x * 5 + y * 11) % 256))
                    << x << ", " << y << ", " << interlaced;
        }
        EXPECT_EQ(*repOf(gif)->colorAtXY(1, 1), rampColor(16));
        EXPECT_EQ(*repOf(gif)->colorAtXY(36, 28), rampColor((36 * 5 + 28 * 11) % 256));
    }
}

TEST(GifReader, FrameStandsOnTheLogicalScreen)
{
    GifWish wish {
        .screenWidth = 20, .screenHeight = 10, .x = 5, .y = 3, .width = 4, .height = 4, .palette = rampPalette()
    };
    wish.index = [](int, int) { return 9; };
    auto rep = repOf(makeGif(wish));
    EXPECT_EQ(rep->pixelsWide(), 20);
    EXPECT_EQ(rep->pixelsHigh(), 10);
    Bitmap bitmap = decoded(*rep);
    EXPECT_EQ(pixelOf(bitmap, 5, 3), rampColor(9));
    EXPECT_EQ(pixelOf(bitmap, 8, 6), rampColor(9));
    for (auto [x, y] : { std::pair { 4, 3 }, std::pair { 5, 2 }, std::pair { 9, 6 }, std::pair { 8, 7 } })
        EXPECT_EQ(pixelOf(bitmap, x, y).alpha, 0);
}

TEST(GifReader, FrameThatLeavesTheScreenIsCutOff)
{
    GifWish wish {
        .screenWidth = 6, .screenHeight = 6, .x = 4, .y = 4, .width = 9, .height = 9, .palette = rampPalette()
    };
    wish.index = [](int, int) { return 9; };
    Bitmap bitmap = decoded(makeGif(wish));
    EXPECT_EQ(bitmap.width, 6);
    EXPECT_EQ(pixelOf(bitmap, 5, 5), rampColor(9));
    wish.x = 60;
    EXPECT_EQ(pixelOf(decoded(makeGif(wish)), 5, 5).alpha, 0);
}

TEST(GifReader, TransparentIndex)
{
    GifWish wish { .transparentIndex = 3, .palette = rampPalette() };
    wish.index = [](int x, int) { return x; };
    Bitmap bitmap = decoded(makeGif(wish));
    EXPECT_EQ(pixelOf(bitmap, 3, 0).alpha, 0);
    EXPECT_EQ(pixelOf(bitmap, 4, 0), rampColor(4));
}

TEST(GifReader, EmptyScreenMeansTheFrame)
{
    GifWish wish { .screenWidth = 0, .screenHeight = 0, .width = 7, .height = 5, .palette = rampPalette() };
    wish.index = [](int, int) { return 1; };
    auto rep = repOf(makeGif(wish));
    EXPECT_EQ(rep->pixelsWide(), 7);
    EXPECT_EQ(rep->pixelsHigh(), 5);
}

TEST(GifReader, WithoutPixelsIsNoPicture)
{
    GifWish wish { .screenWidth = 65535, .screenHeight = 65535, .palette = rampPalette() };
    wish.index = [](int, int) { return 1; };
    EXPECT_FALSE(NSImage::initWithData(makeGif(wish)).has_value());
    GifWish empty { .width = 0, .palette = rampPalette() };
    EXPECT_FALSE(NSImage::initWithData(makeGif(empty)).has_value());
}

/// Rows of one colour each, and where the pixels begin: behind the screen, 256 colours, a comment and a descriptor.
GifWish stripes(int height)
{
    GifWish wish { .screenWidth = 40, .screenHeight = height, .width = 40, .height = height, .palette = rampPalette() };
    wish.index = [](int, int y) { return y; };
    return wish;
}
constexpr std::ptrdiff_t PixelStart = 13 + 3 * 256 + 11 + 10;

TEST(GifReader, PixelsUpToTheLastByteOfACutFileCount)
{
    Bytes gif = makeGif(stripes(90));
    // Without the empty block and the end mark nothing is missing; the middle of a block is as good as its end.
    for (auto [cut, rows] : { std::pair<std::size_t, int> { 2, 90 }, { (gif.size() - PixelStart) / 2, 20 } }) {
        Bytes shorter(gif.begin(), gif.end() - static_cast<std::ptrdiff_t>(cut));
        Bitmap bitmap = decoded(shorter);
        for (int y = 0; y < rows; ++y)
            ASSERT_EQ(pixelOf(bitmap, 39, y), rampColor(y)) << cut;
    }
    // One block alone, cut off: 20 bytes hold more than one row.
    Bytes start(gif.begin(), gif.begin() + PixelStart + 2 + 100);
    EXPECT_EQ(pixelOf(decoded(start), 39, 0), rampColor(0));
}

TEST(GifReader, BlocksOfEverySizeAreTheSame)
{
    for (std::size_t blockBytes : { 1, 2, 3, 254 }) {
        GifWish wish = stripes(90);
        wish.blockBytes = blockBytes;
        Bitmap bitmap = decoded(makeGif(wish));
        for (int y = 0; y < 90; ++y)
            ASSERT_EQ(pixelOf(bitmap, 39, y), rampColor(y)) << blockBytes;
    }
}

/// The clear pixel that keeps tables of old web pages apart: its only block is a byte long and has no end code.
TEST(GifReader, AClearPixelIsClear)
{
    const Bytes spacer { 'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0x80, 0, 0, 0, 0, 0, 0xff, 0xff, 0xff, 0x21, 0xf9, 4,
        1, 0, 0, 0, 0, 0x2c, 0, 0, 0, 0, 1, 0, 1, 0, 0, 2, 1, 0x44, 0, 0x3b };
    EXPECT_EQ(pixelOf(decoded(spacer), 0, 0).alpha, 0);
}

TEST(GifReader, SizeOfAFrameThatCannotBeDecodedIsKnown)
{
    Bytes gif = makeGif(stripes(90));
    Bytes cut(gif.begin(), gif.begin() + PixelStart);
    gif[PixelStart] = 143; // bits of a colour index
    for (const Bytes& bytes : { gif, cut }) {
        auto rep = repOf(bytes);
        ASSERT_TRUE(rep);
        EXPECT_EQ(rep->pixelsWide(), 40);
        EXPECT_EQ(rep->pixelsHigh(), 90);
        EXPECT_FALSE(rep->scaledTo(10, 10).ok());
    }
    Bytes none(gif.begin(), gif.begin() + PixelStart - 1);
    EXPECT_FALSE(NSImage::initWithData(none).has_value());
}

} // namespace
} // namespace mv
