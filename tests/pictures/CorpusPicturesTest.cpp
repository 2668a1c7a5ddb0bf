#include "tests/pictures/Decoded.h"
#include "tests/pictures/PictureMaker.h"
#include "tests/pictures/ProfileMaker.h"
#include "tests/support/Corpus.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <algorithm>

namespace mv {
namespace {

using namespace test;

constexpr int Side = 64;

/// Transparent parts over white.
Bitmap overWhite(Bitmap bitmap)
{
    for (std::size_t i = 0; i < bitmap.pixels.size(); i += 4) {
        unsigned alpha = bitmap.pixels[i + 3];
        for (std::size_t c = 0; c < 3; ++c)
            bitmap.pixels[i + c]
                = static_cast<std::uint8_t>((bitmap.pixels[i + c] * alpha + 255 * (255 - alpha) + 127) / 255);
        bitmap.pixels[i + 3] = 255;
    }
    return bitmap;
}

/// The same drawing by ImageMagick: decoded whole, profile applied, Lanczos. A PNG's gamma chunk is set aside, as it
/// is here.
Bitmap drawnElsewhere(const std::string& path, const std::string& profile)
{
    std::string colors = path.ends_with(".png") ? " -set colorspace sRGB" : " -profile " + shellQuoted(profile);
    std::string raw = outputOf("OMP_NUM_THREADS=1 convert " + shellQuoted(path + "[0]") + colors
        + " -background white -alpha remove -alpha off -filter Lanczos -resize 64x64! -depth 8 rgba:- 2>/dev/null");
    return { Side, Side, Bytes(raw.begin(), raw.end()) };
}

/// Files of which another program's reading is no measure, with the reason.
bool isSpecial(const std::string& name)
{
    static const char* const Special[] {
        "image/ultrahdr.jpg", // has no row at all
    };
    return std::find(std::begin(Special), std::end(Special), name) != std::end(Special);
}

constexpr std::size_t Parts = 6;

class CorpusPicturesPart : public testing::TestWithParam<std::size_t> { };

TEST_P(CorpusPicturesPart, LooksAsAnotherLibraryDrawsIt)
{
    MV_NEEDS_CORPUS();
    if (!haveProgram("convert"))
        GTEST_SKIP() << "ImageMagick is not here";
    ScratchFolder folder;
    std::string profile = folder.write("srgb.icc", srgbProfile());
    int compared = 0;
    for (const std::string& name : corpusFiles("image", GetParam(), Parts)) {
        auto image = NSImage::initWithContentsOfFile(OpenedFile::at(corpusFile(name)));
        if (!image || isSpecial(name))
            continue;
        auto drawn = image->representations().front()->scaledTo(Side, Side);
        ASSERT_TRUE(drawn.ok()) << name << ": " << drawn.error().text;
        Bitmap other;
        try {
            other = drawnElsewhere(corpusFile(name), profile);
        } catch (const std::exception&) {
            continue; // not readable there
        }
        if (other.pixels.size() != drawn->pixels.size())
            continue;
        ++compared;
        EXPECT_LT(meanDifference(overWhite(*drawn), other), 3) << name;
    }
    EXPECT_GE(compared, 9);
}

INSTANTIATE_TEST_SUITE_P(Parts, CorpusPicturesPart, testing::Range(std::size_t { 0 }, Parts));

TEST(CorpusPictures, BrokenOnesAreNothingOrAPicture)
{
    MV_NEEDS_CORPUS();
    LogCapture quiet;
    int seen = 0;
    for (const std::string& name : corpusFiles("bad")) {
        auto image = NSImage::initWithContentsOfFile(OpenedFile::at(corpusFile(name)));
        if (!image)
            continue;
        ++seen;
        auto drawn = image->representations().front()->scaledTo(Side, Side);
        EXPECT_TRUE(!drawn || drawn->pixels.size() == Side * Side * 4U) << name;
    }
    EXPECT_GT(seen, 0);
    for (const char* name : { "bad/broken.png", "bad/xc1n0g08.png", "bad/xd0n2c08.png", "bad/xdtn0g01.png",
             "bad/reallybig.bmp", "bad/badbitcount.bmp", "bad/badwidth.bmp", "bad/zero_width.gif" })
        EXPECT_FALSE(NSImage::initWithContentsOfFile(OpenedFile::at(corpusFile(name))).has_value()) << name;
}

/// Turning that the container prescribes belongs to the picture; the orientation in Exif does not.
TEST(CorpusPictures, SizesAreThoseOfTheStoredPicture)
{
    MV_NEEDS_CORPUS();
    struct Row {
        const char* name;
        int width, height;
    };
    for (const Row& row : { Row { "image/Landscape_6.jpg", 1200, 1800 }, Row { "image/f6-exif.jpg", 80, 40 },
             Row { "image/g4_orientation_6.tif", 88, 590 }, Row { "image/hopper_orientation_6.webp", 128, 128 },
             Row { "image/IMG_5195.HEIC", 2566, 3313 }, Row { "image/sample_still_photo.heic", 1080, 1920 } }) {
        auto rep = NSImage::imageRepWithContentsOfFile(OpenedFile::at(corpusFile(row.name)));
        ASSERT_NE(rep, nullptr) << row.name;
        EXPECT_EQ(rep->pixelsWide(), row.width) << row.name;
        EXPECT_EQ(rep->pixelsHigh(), row.height) << row.name;
    }
}

} // namespace
} // namespace mv
