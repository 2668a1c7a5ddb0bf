#include "Base/Core/ByteReader.h"
#include "tests/pictures/BmpMaker.h"
#include "tests/pictures/Decoded.h"

namespace mv {
namespace {

using namespace test;

constexpr Color White = Color::white();
constexpr Color Black = Color::black();

/// Blue, green, red and an unused byte each: white, red, green, blue.
Bytes fourColors() { return { 255, 255, 255, 0, 0, 0, 255, 0, 0, 255, 0, 0, 255, 0, 0, 0 }; }

Bytes words(std::initializer_list<std::uint32_t> values)
{
    Bytes bytes;
    ByteWriter writer(bytes);
    for (std::uint32_t value : values)
        writer.u32le(value);
    return bytes;
}

TEST(BmpReader, TrueColourFromTheBottom)
{
    // Two columns, two rows, rows filled up to 8 bytes
    Bytes pixels { 1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0 };
    Bitmap bitmap = decoded(makeBmp({ .width = 2, .height = 2, .pixels = pixels }));
    EXPECT_EQ(pixelOf(bitmap, 0, 1), (Color { 3, 2, 1, 255 }));
    EXPECT_EQ(pixelOf(bitmap, 1, 1), (Color { 6, 5, 4, 255 }));
    EXPECT_EQ(pixelOf(bitmap, 1, 0), (Color { 12, 11, 10, 255 }));

    Bitmap flipped = decoded(makeBmp({ .width = 2, .height = -2, .pixels = pixels }));
    EXPECT_EQ(flipped.height, 2);
    EXPECT_EQ(pixelOf(flipped, 0, 0), (Color { 3, 2, 1, 255 }));
}

TEST(BmpReader, PalettesOfEveryDepth)
{
    struct Row {
        int depth;
        Bytes pixels;
    };
    // Indices 1, 0, 3 (1, 0, 1 with one bit)
    for (const Row& row : { Row { 1, { 0b10100000, 0, 0, 0 } }, Row { 2, { 0b01001100, 0, 0, 0 } },
             Row { 4, { 0x10, 0x30, 0, 0 } }, Row { 8, { 1, 0, 3, 0 } } }) {
        Bytes palette = fourColors();
        palette.resize(static_cast<std::size_t>(4) << row.depth);
        Bitmap bitmap
            = decoded(makeBmp({ .width = 3, .height = 1, .depth = row.depth, .extra = palette, .pixels = row.pixels }));
        EXPECT_EQ(pixelOf(bitmap, 0, 0), (Color { 255, 0, 0, 255 })) << row.depth;
        EXPECT_EQ(pixelOf(bitmap, 1, 0), White) << row.depth;
        EXPECT_EQ(pixelOf(bitmap, 2, 0), row.depth == 1 ? (Color { 255, 0, 0, 255 }) : (Color { 0, 0, 255, 255 }))
            << row.depth;
    }
}

TEST(BmpReader, OldestHeader)
{
    Bytes palette { 255, 255, 255, 0, 0, 255 }; // three bytes a colour
    Bitmap bitmap = decoded(makeBmp(
        { .headerBytes = 12, .width = 2, .height = 1, .depth = 1, .extra = palette, .pixels = { 0x40, 0, 0, 0 } }));
    EXPECT_EQ(pixelOf(bitmap, 0, 0), White);
    EXPECT_EQ(pixelOf(bitmap, 1, 0), (Color { 255, 0, 0, 255 }));
}

TEST(BmpReader, SecondOs2Headers)
{
    Bytes pixels { 1, 2, 3, 0 };
    for (int headerBytes : { 16, 64 }) {
        Bitmap bitmap = decoded(makeBmp({ .headerBytes = headerBytes, .width = 1, .height = 1, .pixels = pixels }));
        EXPECT_EQ(pixelOf(bitmap, 0, 0), (Color { 3, 2, 1, 255 })) << headerBytes;
    }
}

TEST(BmpReader, SixteenBits)
{
    // 5 bits each without masks: red 31, green 0, blue 16
    Bitmap plainBits = decoded(makeBmp({ .width = 1, .height = 1, .depth = 16, .pixels = { 0x10, 0x7C, 0, 0 } }));
    EXPECT_EQ(pixelOf(plainBits, 0, 0), (Color { 255, 0, 132, 255 }));
    // 5, 6 and 5 bits by masks behind the header
    Bitmap masked = decoded(makeBmp({ .width = 1,
        .height = 1,
        .depth = 16,
        .compression = 3,
        .extra = words({ 0xF800, 0x07E0, 0x001F }),
        .pixels = { 0xE0, 0xFF, 0, 0 } }));
    EXPECT_EQ(pixelOf(masked, 0, 0), (Color { 255, 255, 0, 255 }));
}

TEST(BmpReader, FourthByteIsAlphaOnlyByMask)
{
    Bytes pixel { 10, 20, 30, 40 };
    EXPECT_EQ(pixelOf(decoded(makeBmp({ .width = 1, .height = 1, .depth = 32, .pixels = pixel })), 0, 0),
        (Color { 30, 20, 10, 255 }));
    std::array<std::uint32_t, 4> withAlpha { 0xFF0000, 0xFF00, 0xFF, 0xFF000000 };
    std::array<std::uint32_t, 4> without { 0xFF0000, 0xFF00, 0xFF, 0 };
    for (int headerBytes : { 108, 124 }) {
        BmpWish wish { .headerBytes = headerBytes,
            .width = 1,
            .height = 1,
            .depth = 32,
            .compression = 3,
            .masks = withAlpha,
            .pixels = pixel };
        EXPECT_EQ(pixelOf(decoded(makeBmp(wish)), 0, 0), (Color { 30, 20, 10, 40 })) << headerBytes;
        wish.masks = without;
        EXPECT_EQ(pixelOf(decoded(makeBmp(wish)), 0, 0), (Color { 30, 20, 10, 255 })) << headerBytes;
        // Masks that the coding does not ask for are not looked at.
        wish.masks = withAlpha;
        wish.compression = 0;
        EXPECT_EQ(pixelOf(decoded(makeBmp(wish)), 0, 0), (Color { 30, 20, 10, 255 })) << headerBytes;
    }
}

TEST(BmpReader, MasksOfTenBits)
{
    Bitmap bitmap = decoded(makeBmp({ .width = 1,
        .height = 1,
        .depth = 32,
        .compression = 3,
        .extra = words({ 0x3FF00000, 0x000FFC00, 0x000003FF }),
        .pixels = words({ 0x3FFu << 20 | 0x200u << 10 }) }));
    EXPECT_EQ(pixelOf(bitmap, 0, 0), (Color { 255, 128, 0, 255 }));
}

Bytes rlePalette(int depth)
{
    Bytes palette = fourColors();
    palette.resize(static_cast<std::size_t>(4) << depth);
    return palette;
}

TEST(BmpReader, RunLengths8)
{
    Bytes code { 2, 1, 1, 2, 0, 0, // two red, one green, end of line
        0, 3, 3, 3, 0, 0, // literal: three pixels blue, blue, white, filled up
        0, 1 };
    Bitmap bitmap = decoded(
        makeBmp({ .width = 4, .height = 3, .depth = 8, .compression = 1, .extra = rlePalette(8), .pixels = code }));
    EXPECT_EQ(pixelOf(bitmap, 1, 2), (Color { 255, 0, 0, 255 }));
    EXPECT_EQ(pixelOf(bitmap, 2, 2), (Color { 0, 255, 0, 255 }));
    EXPECT_EQ(pixelOf(bitmap, 3, 2), Black); // never set
    EXPECT_EQ(pixelOf(bitmap, 1, 1), (Color { 0, 0, 255, 255 }));
    EXPECT_EQ(pixelOf(bitmap, 2, 1), White);
    EXPECT_EQ(pixelOf(bitmap, 0, 0), Black);
}

TEST(BmpReader, RunLengthsLeapAndOverrun)
{
    Bytes code { 1, 1, 0, 2, 1, 1, // red, then one to the right and one up
        200, 2, // a run beyond the edge
        0, 1 };
    Bitmap bitmap = decoded(
        makeBmp({ .width = 4, .height = 3, .depth = 8, .compression = 1, .extra = rlePalette(8), .pixels = code }));
    EXPECT_EQ(pixelOf(bitmap, 0, 2), (Color { 255, 0, 0, 255 }));
    EXPECT_EQ(pixelOf(bitmap, 1, 1), Black);
    EXPECT_EQ(pixelOf(bitmap, 2, 1), (Color { 0, 255, 0, 255 }));
    EXPECT_EQ(pixelOf(bitmap, 3, 1), (Color { 0, 255, 0, 255 }));
    EXPECT_EQ(pixelOf(bitmap, 0, 0), Black);
}

TEST(BmpReader, RunLengths4)
{
    Bytes code { 3, 0x12, 0, 0, // red, green, red
        0, 3, 0x32, 0x10, 0, 1 };
    Bitmap bitmap = decoded(
        makeBmp({ .width = 3, .height = 2, .depth = 4, .compression = 2, .extra = rlePalette(4), .pixels = code }));
    EXPECT_EQ(pixelOf(bitmap, 0, 1), (Color { 255, 0, 0, 255 }));
    EXPECT_EQ(pixelOf(bitmap, 1, 1), (Color { 0, 255, 0, 255 }));
    EXPECT_EQ(pixelOf(bitmap, 2, 1), (Color { 255, 0, 0, 255 }));
    EXPECT_EQ(pixelOf(bitmap, 0, 0), (Color { 0, 0, 255, 255 }));
    EXPECT_EQ(pixelOf(bitmap, 2, 0), (Color { 255, 0, 0, 255 }));
}

TEST(BmpReader, CutShortKeepsTheBottom)
{
    Bytes pixels(16 * 3 * 10, 200);
    Bytes bmp = makeBmp({ .width = 16, .height = 20, .pixels = pixels }); // half of its rows
    Bitmap bitmap = decoded(bmp);
    EXPECT_EQ(pixelOf(bitmap, 3, 19), (Color { 200, 200, 200, 255 }));
    EXPECT_EQ(pixelOf(bitmap, 3, 0), Black);
    EXPECT_FALSE(repOf(makeBmp({ .width = 16, .height = 20 }))->scaledTo(16, 20).ok());
}

TEST(BmpReader, ImpossibleHeadersAreRefused)
{
    Bytes pixels(4096);
    EXPECT_TRUE(NSImage::initWithData(makeBmp({ .pixels = pixels })).has_value());
    const BmpWish wishes[] { { .headerBytes = 41'000 }, { .width = -8 }, { .height = 0 }, { .width = 0 },
        { .depth = 7 }, { .depth = 64 }, { .depth = 24, .compression = 1 }, { .depth = 8, .compression = 2 },
        { .compression = 4 }, { .compression = 5 }, { .depth = 24, .compression = 3 },
        { .width = 0x7FFFFFFF, .height = 0x7FFFFFFF }, { .height = -0x7FFFFFFF - 1 } };
    for (const BmpWish& wish : wishes) {
        BmpWish whole = wish;
        whole.pixels = pixels;
        EXPECT_FALSE(NSImage::initWithData(makeBmp(whole)).has_value())
            << wish.width << "x" << wish.height << " depth " << wish.depth << " coding " << wish.compression;
    }
}

} // namespace
} // namespace mv
