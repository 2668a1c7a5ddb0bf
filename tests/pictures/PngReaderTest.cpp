#include "tests/pictures/Decoded.h"
#include "tests/pictures/PngMaker.h"
#include "tests/pictures/ProfileMaker.h"

namespace mv {
namespace {

using namespace test;

/// A value of `depth` bits that differs from pixel to pixel.
int pattern(int x, int y, int channel, int depth) { return (x * 7 + y * 13 + channel * 101 + x * y) % (1 << depth); }

int toByte(int value, int depth)
{
    if (depth == 16)
        return static_cast<int>((static_cast<unsigned>(value) * 255 + 32895) >> 16);
    return value * 255 / ((1 << depth) - 1);
}

struct Kind {
    int colorType, depth;
};

class PngKinds : public testing::TestWithParam<Kind> { };

TEST_P(PngKinds, EveryPixelIsRight)
{
    auto [type, depth] = GetParam();
    for (bool interlaced : { false, true }) {
        for (int filter : { 0, 1, 2, 3, 4, 5 }) {
            PngWish wish {
                .width = 21, .height = 19, .depth = depth, .colorType = type, .interlaced = interlaced, .filter = filter
            };
            wish.sample = [d = depth](int x, int y, int c) { return pattern(x, y, c, d); };
            Bitmap bitmap = decoded(makePng(wish));
            ASSERT_EQ(bitmap.width, 21);
            for (int y = 0; y < 19; ++y) {
                for (int x = 0; x < 21; ++x) {
                    Color got = pixelOf(bitmap, x, y);
                    auto value = [&](int c) { return toByte(pattern(x, y, c, depth), depth); };
                    bool color = type & 2;
                    ASSERT_EQ(got.red, value(0))
                        << x << ", " << y << " filter " << filter << " interlaced " << interlaced;
                    ASSERT_EQ(got.green, value(color ? 1 : 0));
                    ASSERT_EQ(got.blue, value(color ? 2 : 0));
                    ASSERT_EQ(got.alpha, type & 4 ? value(color ? 3 : 1) : 255);
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, PngKinds,
    testing::Values(Kind { 0, 1 }, Kind { 0, 2 }, Kind { 0, 4 }, Kind { 0, 8 }, Kind { 0, 16 }, Kind { 2, 8 },
        Kind { 2, 16 }, Kind { 4, 8 }, Kind { 4, 16 }, Kind { 6, 8 }, Kind { 6, 16 }));

TEST(PngReader, PaletteOfEveryDepth)
{
    for (int depth : { 1, 2, 4, 8 }) {
        PngWish wish { .width = 13, .height = 5, .depth = depth, .colorType = 3 };
        for (int i = 0; i < 1 << depth; ++i)
            wish.palette.insert(
                wish.palette.end(), { static_cast<std::uint8_t>(i), static_cast<std::uint8_t>(255 - i), 7 });
        wish.transparency = { 128 };
        wish.sample = [depth](int x, int y, int) { return pattern(x, y, 0, depth); };
        Bitmap bitmap = decoded(makePng(wish));
        for (int x = 0; x < 13; ++x) {
            int index = pattern(x, 3, 0, depth);
            Color expected { static_cast<std::uint8_t>(index), static_cast<std::uint8_t>(255 - index), 7,
                static_cast<std::uint8_t>(index == 0 ? 128 : 255) };
            EXPECT_EQ(pixelOf(bitmap, x, 3), expected) << depth;
        }
    }
}

TEST(PngReader, IndexBeyondThePaletteIsBlack)
{
    PngWish wish { .colorType = 3, .palette = { 255, 255, 255 } };
    wish.sample = [](int x, int, int) { return x; };
    Bitmap bitmap = decoded(makePng(wish));
    EXPECT_EQ(pixelOf(bitmap, 0, 0), Color::white());
    EXPECT_EQ(pixelOf(bitmap, 5, 0), Color::black());
}

TEST(PngReader, OneColourCanBeTransparent)
{
    PngWish gray { .depth = 4, .colorType = 0, .transparency = { 0, 3 } };
    gray.sample = [](int x, int, int) { return x; };
    EXPECT_EQ(pixelOf(decoded(makePng(gray)), 3, 0).alpha, 0);
    EXPECT_EQ(pixelOf(decoded(makePng(gray)), 4, 0), (Color { 68, 68, 68, 255 }));

    // All sixteen bits count, not only those that are kept.
    PngWish wide { .depth = 16, .colorType = 2, .transparency = { 0x12, 0x34, 0, 1, 0, 2 } };
    wide.sample = [](int x, int, int c) { return c == 0 ? 0x1234 : c == 1 ? 1 : 2 + x; };
    EXPECT_EQ(pixelOf(decoded(makePng(wide)), 0, 0).alpha, 0);
    EXPECT_EQ(pixelOf(decoded(makePng(wide)), 1, 0).alpha, 255);
}

TEST(PngReader, ProfileIsApplied)
{
    PngWish wish { .colorType = 6, .profile = swappedProfile() };
    wish.sample = [](int, int, int c) { return c == 0 ? 255 : c == 3 ? 77 : 0; };
    Bytes png = makePng(wish);
    expectNear(pixelOf(decoded(png), 4, 4), { 0, 0, 255, 77 }, 2);
    expectNear(*repOf(png)->colorAtXY(1, 1), { 0, 0, 255, 77 }, 2);
}

TEST(PngReader, PixelsOfInterlacedPicturesAreFound)
{
    PngWish wish { .width = 30, .height = 30, .colorType = 0, .interlaced = true };
    wish.sample = [](int x, int y, int) { return x * 5 + y * 3; };
    auto rep = repOf(makePng(wish));
    for (auto [x, y] : { std::pair { 1, 1 }, std::pair { 0, 0 }, std::pair { 6, 3 }, std::pair { 29, 29 } })
        EXPECT_EQ(rep->colorAtXY(x, y)->red, x * 5 + y * 3);
}

TEST(PngReader, CutShortIsAPictureFromItsFirstRowOn)
{
    PngWish wish { .width = 200, .height = 200, .colorType = 2 };
    wish.sample = [](int x, int y, int c) { return (x * x + y * 31 + c * 77) % 256; };
    Bytes png = makePng(wish);
    std::size_t data = 8 + 25 + 8; // signature, header, start of the first data chunk
    Bytes none(png.begin(), png.begin() + static_cast<std::ptrdiff_t>(data + 3));
    EXPECT_FALSE(repOf(none)->scaledTo(100, 100).ok());
    Bytes half(png.begin(), png.begin() + static_cast<std::ptrdiff_t>(png.size() / 2));
    EXPECT_TRUE(repOf(half)->scaledTo(100, 100).ok());
}

TEST(PngReader, ImpossibleHeadersAreRefused)
{
    PngWish wish;
    wish.sample = [](int, int, int) { return 0; };
    EXPECT_TRUE(NSImage::initWithData(makePng(wish)).has_value());
    for (auto [type, depth] :
        { std::pair { 1, 8 }, std::pair { 2, 4 }, std::pair { 3, 16 }, std::pair { 0, 3 }, std::pair { 7, 8 } }) {
        PngWish bad = wish;
        bad.colorType = type;
        bad.depth = depth == 3 ? 8 : depth;
        Bytes png = makePng(bad);
        png[24] = static_cast<std::uint8_t>(depth);
        EXPECT_FALSE(NSImage::initWithData(png).has_value()) << type << ", " << depth;
    }
    Bytes damaged = makePng(wish);
    damaged[19] ^= 1; // the width, so that the checksum no longer fits
    EXPECT_FALSE(NSImage::initWithData(damaged).has_value());
}

} // namespace
} // namespace mv
