#include "pictures/ImageEncoder.h"
#include "pictures/PictureFormat.h"
#include "platform/NSBitmapImageRep.h"
#include "tests/pictures/BmpMaker.h"
#include "tests/pictures/Decoded.h"
#include "tests/pictures/GifMaker.h"
#include "tests/pictures/JpegMaker.h"
#include "tests/pictures/PictureMaker.h"
#include "tests/pictures/PngMaker.h"
#include "tests/support/Corpus.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Places.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <sys/resource.h>
#include <sys/stat.h>

namespace mv {
namespace {

using namespace test;

TEST(NSImage, OnlyAllowedFormatsByTheirFirstBytes)
{
    for (std::string_view text : { "", "hello", "<svg xmlns=''/>", "<?xml version='1.0'?><svg/>", "%PDF-1.4\n",
             "%!PS-Adobe-3.0\n", "push graphic-context\n", "#!/bin/sh\n", "8BPS", "P6\n1 1\n255\n", "\x00\x00\x01\x00",
             "ID3", "RIFF____WAVE" }) {
        EXPECT_EQ(formatOfBytes(bytesOf(text)), PictureFormat::None) << text;
        EXPECT_FALSE(NSImage::initWithData(Bytes(text.begin(), text.end())).has_value()) << text;
    }
    EXPECT_EQ(formatOfBytes(bytesOf("\xFF\xD8\xFF\xE0")), PictureFormat::Jpeg);
    EXPECT_EQ(formatOfBytes(bytesOf("RIFF____WEBP")), PictureFormat::WebP);
    EXPECT_EQ(formatOfBytes(bytesOf(std::string_view("\0\0\0\x18"
                                                     "ftypavif",
                  12))),
        PictureFormat::Heif);
    EXPECT_EQ(formatOfBytes(bytesOf(std::string_view("\0\0\0\x18"
                                                     "ftypisom",
                  12))),
        PictureFormat::None);
}

TEST(NSImage, NameDoesNotMatter)
{
    ScratchFolder folder;
    auto image = NSImage::initWithContentsOfFile(OpenedFile::at(folder.write("really.txt", makeJpeg(photo(30, 20)))));
    ASSERT_TRUE(image.has_value());
    EXPECT_EQ(image->representations().front()->pixelsWide(), 30);
    EXPECT_FALSE(NSImage::initWithContentsOfFile(OpenedFile::at(folder.write("text.jpg", "just text"))).has_value());
    EXPECT_EQ(NSImage::imageRepWithContentsOfFile(OpenedFile::at(folder.file("text.jpg"))), nullptr);
}

TEST(NSImage, WhatIsNoFileIsNoPicture)
{
    ScratchFolder folder;
    EXPECT_FALSE(NSImage::initWithContentsOfFile(OpenedFile::at(Path())).has_value());
    EXPECT_FALSE(NSImage::initWithContentsOfFile(OpenedFile::at(folder.path())).has_value());
    EXPECT_FALSE(NSImage::initWithContentsOfFile(OpenedFile::at(folder.file("missing.jpg"))).has_value());
    EXPECT_FALSE(NSImage::initWithContentsOfFile(OpenedFile::at(folder.write("empty.jpg", ""))).has_value());
    ASSERT_EQ(mkfifo(folder.file("pipe.jpg").c_str(), 0600), 0);
    EXPECT_FALSE(NSImage::initWithContentsOfFile(OpenedFile::at(folder.file("pipe.jpg"))).has_value());
}

TEST(NSImage, BestRepresentationHasTheMostPixelsAndTheFirstOfEquals)
{
    NSImage image;
    EXPECT_EQ(image.bestRepresentationForDevice(), nullptr);
    image.addRepresentation(std::make_shared<NSBitmapImageRep>(plain(10, 10, {})));
    image.addRepresentation(std::make_shared<NSBitmapImageRep>(plain(4, 50, {})));
    image.addRepresentation(std::make_shared<NSBitmapImageRep>(plain(50, 4, {})));
    EXPECT_EQ(image.bestRepresentationForDevice(), image.representations()[1]);
}

TEST(NSBitmapImageRep, ColoursAndScaling)
{
    Bitmap bitmap = plain(3, 2, { 1, 2, 3, 255 });
    bitmap.pixels[4 * 4] = 200;
    NSBitmapImageRep rep(bitmap);
    EXPECT_EQ(rep.colorAtXY(1, 1)->red, 200);
    EXPECT_EQ(rep.colorAtXY(99, -1)->red, 1);
    EXPECT_EQ(rep.scaledTo(3, 2)->pixels, bitmap.pixels);
    EXPECT_EQ(rep.scaledTo(30, 7)->width, 30);
    EXPECT_FALSE(NSBitmapImageRep({}).colorAtXY(0, 0).ok());
    EXPECT_FALSE(NSBitmapImageRep({}).scaledTo(5, 5).ok());
}

TEST(ImageEncoder, JpegIsReadBack)
{
    Bitmap source = photo(201, 99);
    auto jpeg = encodeJpeg(source);
    ASSERT_TRUE(jpeg.ok());
    Bitmap bitmap = decoded(*jpeg);
    EXPECT_EQ(bitmap.width, 201);
    EXPECT_EQ(bitmap.height, 99);
    EXPECT_GE(psnr(bitmap, source), 27);
    EXPECT_GT(encodeJpeg(source, 95)->size(), jpeg->size());
    EXPECT_EQ(formatOfBytes(*jpeg), PictureFormat::Jpeg);
}

TEST(ImageEncoder, JpegShowsWhiteThroughClearPixels)
{
    expectNear(pixelOf(decoded(*encodeJpeg(plain(16, 16, { 0, 0, 0, 0 }))), 3, 3), NSColor::white(), 1);
    expectNear(pixelOf(decoded(*encodeJpeg(plain(16, 16, { 0, 0, 0, 128 }))), 3, 3), { 127, 127, 127, 255 }, 2);
}

TEST(ImageEncoder, SizesThatDoNotExist)
{
    EXPECT_FALSE(encodeJpeg({}).ok());
    EXPECT_FALSE(encodeJpeg({ 65'501, 1, Bytes(65'501 * 4) }).ok());
}

/// Every format's file, cut off at many places and with single bytes changed: nothing or a picture, never a crash.
TEST(NSImage, DamageOfEveryFormat)
{
    MV_NEEDS_CORPUS();
    LogCapture quiet;
    for (const char* name : { "image/hopper.jpg", "image/cat.jpg", "image/pil_sample_cmyk.jpg", "image/basn6a16.png",
             "image/basi3p04.png", "image/hopper.gif", "image/interlaced.gif", "image/rgba32.bmp", "image/pal4rle.bmp",
             "image/multipage.tiff", "image/g4_orientation_6.tif", "image/hopper_bigtiff.tif", "image/hopper.webp",
             "image/lossy_alpha.webp", "image/anim.webp", "image/hopper.heif", "image/white-1x1.avif" }) {
        Bytes whole = readFile(corpusFile(name));
        ASSERT_TRUE(NSImage::initWithData(whole).has_value()) << name;
        int pictures = 0;
        auto tryBytes = [&](Bytes bytes) {
            auto image = NSImage::initWithData(std::move(bytes));
            if (!image)
                return;
            const NSImageRep& rep = *image->representations().front();
            auto bitmap = rep.scaledTo(20, 20);
            pictures += bitmap.ok() && bitmap->pixels.size() == 1600;
            (void)rep.colorAtXY(1, 1);
        };
        constexpr std::size_t Steps = 40;
        for (std::size_t i = 0; i < Steps; ++i)
            tryBytes(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(whole.size() * i / Steps)));
        for (std::size_t i = 0; i < Steps; ++i) {
            Bytes changed = whole;
            changed[(i * 2654435761U) % std::min<std::size_t>(whole.size(), 2000)]
                ^= static_cast<std::uint8_t>(1U << i % 8);
            tryBytes(std::move(changed));
        }
        EXPECT_GT(pictures, 0) << name;
    }
}

/// Headers that promise more than anybody may ask for, each small in itself.
struct Bomb {
    const char* name;
    Bytes file;
};

Bytes hugePng(int side)
{
    PngWish wish { .colorType = 0 };
    wish.sample = [](int, int, int) { return 0; };
    wish.headerWidth = wish.headerHeight = side;
    return makePng(wish);
}

std::vector<Bomb> bombs()
{
    GifWish gif { .screenWidth = 65535, .screenHeight = 65535, .palette = { 1, 2, 3 } };
    gif.index = [](int, int) { return 0; };
    Bytes jpeg = makeJpeg(photo(64, 64));
    const Bytes marker { 0xFF, 0xC0 };
    auto frame = std::search(jpeg.begin(), jpeg.end(), marker.begin(), marker.end());
    const Bytes side { 0xFF, 0xDC, 0xFF, 0xDC }; // 65500
    std::copy(side.begin(), side.end(), frame + 5);
    return { { "PNG of 30000", hugePng(30'000) }, { "PNG of 2 billion", hugePng(0x7FFFFFFF) },
        { "GIF of 65535", makeGif(gif) }, { "JPEG of 65500", jpeg },
        { "BMP of 40000", makeBmp({ .width = 40'000, .height = 40'000, .pixels = Bytes(100) }) } };
}

/// The most memory that the process ever had, in megabytes.
long peakMegabytes()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

TEST(NSImage, PixelBombsAreNothing)
{
    for (const Bomb& bomb : bombs())
        EXPECT_FALSE(NSImage::initWithData(bomb.file).has_value()) << bomb.name;
}

/// Below the limit of pixels, but with next to no data behind the header: little memory, whatever comes out.
TEST(NSImage, LargeEmptyPicturesTakeLittleMemory)
{
    long before = peakMegabytes();
    for (int side : { 5000, 20'000 }) {
        auto image = NSImage::initWithData(hugePng(side));
        ASSERT_TRUE(image.has_value());
        (void)image->representations().front()->scaledTo(100, 100);
    }
    auto bmp = NSImage::initWithData(
        makeBmp({ .width = 20'000, .height = 20'000, .depth = 8, .compression = 1, .pixels = { 9, 1, 0, 1 } }));
    ASSERT_TRUE(bmp.has_value());
    (void)bmp->representations().front()->scaledTo(100, 100);
    EXPECT_LT(peakMegabytes() - before, 60);
}

/// Inputs that once broke a reader, or the rules that the sanitizers watch over.
TEST(NSImage, FoundByFuzzing)
{
    auto gif = NSImage::initWithData(readFile(test::sourcePath("tests/data/gif/no-colour-table.gif")));
    ASSERT_TRUE(gif.has_value()); // a sound header, but not one pixel
    EXPECT_FALSE(gif->representations().front()->scaledTo(10, 10).ok());
}

} // namespace
} // namespace mv
