#include "Base/Core/ByteReader.h"
#include "tests/pictures/Decoded.h"
#include "tests/pictures/PictureMaker.h"
#include "tests/pictures/ProfileMaker.h"

#include <cstdlib>
#include <webp/encode.h>

namespace mv {
namespace {

using namespace test;

Bytes taken(std::uint8_t* output, std::size_t size)
{
    Bytes bytes(output, output + size);
    WebPFree(output);
    return bytes;
}

Bytes lossless(const Bitmap& bitmap)
{
    std::uint8_t* output = nullptr;
    std::size_t size
        = WebPEncodeLosslessRGBA(bitmap.pixels.data(), bitmap.width, bitmap.height, bitmap.width * 4, &output);
    return taken(output, size);
}

Bytes lossy(const Bitmap& bitmap)
{
    std::uint8_t* output = nullptr;
    std::size_t size = WebPEncodeRGBA(bitmap.pixels.data(), bitmap.width, bitmap.height, bitmap.width * 4, 95, &output);
    return taken(output, size);
}

void appendChunk(Bytes& file, std::string_view type, ByteView content)
{
    ByteWriter writer(file);
    writer.text(type);
    writer.u32le(static_cast<std::uint32_t>(content.size()));
    writer.bytes(content);
    writer.zeros(content.size() % 2);
}

void append24(Bytes& bytes, int value)
{
    for (int shift : { 0, 8, 16 })
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

/// Puts the chunks of a plain WebP under an extended header.
Bytes extended(int flags, int width, int height, const std::function<void(Bytes&)>& appendChunks)
{
    Bytes file { 'R', 'I', 'F', 'F', 0, 0, 0, 0, 'W', 'E', 'B', 'P' };
    Bytes canvas { static_cast<std::uint8_t>(flags), 0, 0, 0 };
    append24(canvas, width - 1);
    append24(canvas, height - 1);
    appendChunk(file, "VP8X", canvas);
    appendChunks(file);
    return file;
}

TEST(WebPReader, LosslessIsExact)
{
    Bitmap source = photo(61, 43);
    source.pixels[(5 * 61 + 7) * 4 + 3] = 99;
    Bytes webp = lossless(source);
    Bitmap bitmap = decoded(webp);
    EXPECT_EQ(bitmap.pixels, source.pixels);
    EXPECT_EQ(*repOf(webp)->colorAtXY(1, 1), pixelOf(source, 1, 1));
}

TEST(WebPReader, ShrinksWhileItDecodes)
{
    Bitmap source = photo(1300, 970);
    for (const Bytes& webp : { lossy(source), lossless(source) }) {
        auto small = repOf(webp)->scaledTo(100, 74);
        ASSERT_TRUE(small.ok());
        EXPECT_GE(psnr(*small, referenceLanczos(decoded(webp), 100, 74)), 36);
    }
}

TEST(WebPReader, ProfileIsApplied)
{
    Bytes plainFile = lossless(plain(20, 20, { 255, 0, 0, 255 }));
    Bytes webp = extended(0x20, 20, 20, [&](Bytes& file) {
        appendChunk(file, "ICCP", swappedProfile());
        file.insert(file.end(), plainFile.begin() + 12, plainFile.end());
    });
    expectNear(pixelOf(decoded(webp), 4, 4), { 0, 0, 255, 255 }, 2);
}

TEST(WebPReader, AnimationIsItsFirstFrameOnTheCanvas)
{
    Bytes frame = lossless(plain(10, 6, { 10, 200, 30, 255 }));
    Bytes webp = extended(0x02, 40, 30, [&](Bytes& file) {
        appendChunk(file, "ANIM", Bytes(6));
        Bytes content;
        append24(content, 4); // in units of two pixels
        append24(content, 5);
        append24(content, 9);
        append24(content, 5);
        content.insert(content.end(), 4, 0);
        content.insert(content.end(), frame.begin() + 12, frame.end());
        appendChunk(file, "ANMF", content);
    });
    auto rep = repOf(webp);
    EXPECT_EQ(rep->pixelsWide(), 40);
    EXPECT_EQ(rep->pixelsHigh(), 30);
    Bitmap bitmap = decoded(*rep);
    EXPECT_EQ(pixelOf(bitmap, 8, 10), (Color { 10, 200, 30, 255 }));
    EXPECT_EQ(pixelOf(bitmap, 17, 15), (Color { 10, 200, 30, 255 }));
    EXPECT_EQ(pixelOf(bitmap, 7, 10).alpha, 0);
    EXPECT_EQ(pixelOf(bitmap, 8, 16).alpha, 0);
}

TEST(WebPReader, CutShortIsAPictureFromItsFirstRowOn)
{
    Bytes webp = lossy(photo(300, 300));
    webp.resize(webp.size() / 2);
    EXPECT_TRUE(repOf(webp)->scaledTo(100, 100).ok());
    webp.resize(40);
    auto image = NSImage::initWithData(webp);
    EXPECT_TRUE(!image || !image->representations().front()->scaledTo(100, 100).ok());
}

} // namespace
} // namespace mv
