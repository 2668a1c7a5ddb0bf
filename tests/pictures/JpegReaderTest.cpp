#include "tests/pictures/Decoded.h"
#include "tests/pictures/JpegMaker.h"
#include "tests/pictures/PictureMaker.h"
#include "tests/pictures/ProfileMaker.h"

#include <algorithm>

namespace mv {
namespace {

using namespace test;

struct Shrinking {
    int width, height, targetWidth, targetHeight;
};

/// Odd sizes on purpose: a reduced raster stands for a fraction of a pixel more or less than it has.
constexpr Shrinking Shrinkings[] { { 641, 479, 100, 74 }, { 1001, 667, 100, 66 }, { 1601, 1199, 100, 75 },
    { 1607, 1205, 100, 75 }, { 1999, 1501, 100, 75 }, { 2049, 1535, 130, 90 }, { 803, 603, 200, 150 },
    { 599, 601, 200, 200 }, { 600, 600, 200, 200 }, { 600, 600, 100, 100 }, { 451, 449, 100, 100 },
    { 333, 777, 42, 100 }, { 117, 93, 100, 79 }, { 61, 47, 100, 77 } };

std::vector<JpegWish> wishes()
{
    std::vector<JpegWish> all { { .gray = true } };
    for (bool progressive : { false, true }) {
        for (int sampling : { 1, 2 })
            all.push_back({ .progressive = progressive, .sampling = sampling });
    }
    return all;
}

class ReducedJpeg : public testing::TestWithParam<Shrinking> { };

TEST_P(ReducedJpeg, LooksLikeAFullOne)
{
    auto [width, height, targetWidth, targetHeight] = GetParam();
    for (const JpegWish& wish : wishes()) {
        Bytes jpeg = makeJpeg(photo(width, height), wish);
        Bitmap full = decoded(jpeg);
        auto thumbnail = repOf(jpeg)->scaledTo(targetWidth, targetHeight);
        ASSERT_TRUE(thumbnail.ok());
        EXPECT_GE(psnr(*thumbnail, referenceLanczos(full, targetWidth, targetHeight)), 42)
            << "progressive " << wish.progressive << " sampling " << wish.sampling << " gray " << wish.gray;
    }
}

TEST_P(ReducedJpeg, LooksMuchLikeAFullOneWhenItIsQuick)
{
    auto [width, height, targetWidth, targetHeight] = GetParam();
    for (const JpegWish& wish : wishes()) {
        Bytes jpeg = makeJpeg(photo(width, height), wish);
        auto image = NSImage::initWithData(jpeg, Drawing::Quick);
        ASSERT_TRUE(image.has_value());
        auto thumbnail = image->representations().front()->scaledTo(targetWidth, targetHeight);
        ASSERT_TRUE(thumbnail.ok());
        EXPECT_GE(psnr(*thumbnail, referenceLanczos(decoded(jpeg), targetWidth, targetHeight)), 33)
            << "progressive " << wish.progressive << " sampling " << wish.sampling << " gray " << wish.gray;
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, ReducedJpeg, testing::ValuesIn(Shrinkings), [](const auto& test) {
    const Shrinking& row = test.param;
    return std::to_string(row.width) + "x" + std::to_string(row.height) + "to" + std::to_string(row.targetWidth) + "x"
        + std::to_string(row.targetHeight);
});

TEST(JpegReader, FullDecodingIsThePicture)
{
    Bitmap source = photo(203, 101);
    EXPECT_GE(psnr(decoded(makeJpeg(source, { .sampling = 1, .quality = 98 })), source), 40);
}

TEST(JpegReader, PixelOfTheTopIsExact)
{
    for (bool progressive : { false, true }) {
        Bytes jpeg = makeJpeg(photo(900, 700), { .progressive = progressive });
        auto rep = repOf(jpeg);
        Bitmap full = decoded(*repOf(jpeg));
        for (auto [x, y] : { std::pair { 1, 1 }, std::pair { 0, 0 }, std::pair { 899, 15 }, std::pair { 450, 31 },
                 std::pair { 17, 32 }, std::pair { 5, 699 } })
            EXPECT_EQ(*rep->colorAtXY(x, y), pixelOf(full, x, y))
                << x << ", " << y << (progressive ? " progressive" : "");
    }
}

TEST(JpegReader, PixelBeyondAnEdgeIsTheEdge)
{
    auto rep = repOf(makeJpeg(plain(1, 1, { 200, 100, 50, 255 })));
    expectNear(*rep->colorAtXY(1, 1), { 200, 100, 50, 255 }, 3);
    EXPECT_EQ(*rep->colorAtXY(-5, 99), *rep->colorAtXY(0, 0));
}

TEST(JpegReader, InksComeOutAsColours)
{
    // Cyan and a little black; without a profile an ink takes its share of light away.
    for (bool adobe : { true, false }) {
        Bytes jpeg = makeInkJpeg(32, 32, { 255, 0, 0, 51 }, adobe);
        expectNear(pixelOf(decoded(jpeg), 5, 5), { 0, 204, 204, 255 }, 3);
        expectNear(*repOf(jpeg)->colorAtXY(1, 1), { 0, 204, 204, 255 }, 3);
    }
}

TEST(JpegReader, ProfileOfInksIsApplied)
{
    // Cyan is yellow in this profile; drawn at full size by libjpeg, shrunken by our own reader.
    for (bool adobe : { true, false }) {
        Bytes jpeg = makeInkJpeg(96, 96, { 255, 0, 0, 0 }, adobe, swappedInkProfile());
        expectNear(pixelOf(decoded(jpeg), 5, 5), { 255, 255, 0, 255 }, 6);
        expectNear(*repOf(jpeg)->colorAtXY(1, 1), { 255, 255, 0, 255 }, 6);
        expectNear(pixelOf(*repOf(jpeg)->scaledTo(6, 6), 3, 3), { 255, 255, 0, 255 }, 6);
    }
}

TEST(JpegReader, ProfileIsApplied)
{
    Bytes jpeg
        = makeJpeg(plain(40, 40, { 250, 20, 20, 255 }), { .sampling = 1, .quality = 100, .profile = swappedProfile() });
    expectNear(pixelOf(decoded(jpeg), 20, 20), { 20, 20, 250, 255 }, 6);
    expectNear(*repOf(jpeg)->colorAtXY(1, 1), { 20, 20, 250, 255 }, 6);
}

TEST(JpegReader, ProfileOfAnotherModelIsIgnored)
{
    Bytes jpeg = makeJpeg(plain(16, 16, { 90, 90, 90, 255 }), { .gray = true, .profile = srgbProfile() });
    expectNear(pixelOf(decoded(jpeg), 3, 3), { 90, 90, 90, 255 }, 2);
}

TEST(JpegReader, CutShortIsAPictureFromItsFirstRowOn)
{
    Bytes jpeg = makeJpeg(photo(320, 240), { .sampling = 1 });
    std::size_t scan = 0;
    for (std::size_t i = 0; i + 1 < jpeg.size() && scan == 0; ++i)
        scan = jpeg[i] == 0xFF && jpeg[i + 1] == 0xDA ? i + 14 : 0;
    Bytes none(jpeg.begin(), jpeg.begin() + static_cast<std::ptrdiff_t>(scan));
    EXPECT_FALSE(repOf(none)->scaledTo(100, 75).ok());
    Bytes half(jpeg.begin(), jpeg.begin() + static_cast<std::ptrdiff_t>(jpeg.size() / 2));
    auto picture = repOf(half)->scaledTo(100, 75);
    ASSERT_TRUE(picture.ok());
    auto whole = repOf(jpeg)->scaledTo(100, 75);
    EXPECT_EQ(pixelOf(*picture, 50, 10), pixelOf(*whole, 50, 10));
}

/// A progressive file whose last scan is repeated until there are `count` scans.
Bytes manyScans(int count)
{
    Bytes jpeg = makeJpeg(photo(64, 64), { .progressive = true });
    std::vector<std::size_t> scans;
    for (std::size_t i = 0; i + 1 < jpeg.size(); ++i) {
        if (jpeg[i] == 0xFF && jpeg[i + 1] == 0xDA)
            scans.push_back(i);
    }
    Bytes last(jpeg.begin() + static_cast<std::ptrdiff_t>(scans.back()), jpeg.end() - 2);
    Bytes result(jpeg.begin(), jpeg.end() - 2);
    for (int i = static_cast<int>(scans.size()); i < count; ++i)
        result.insert(result.end(), last.begin(), last.end());
    result.insert(result.end(), { 0xFF, 0xD9 });
    return result;
}

TEST(JpegReader, TooManyScansAreRefused)
{
    EXPECT_TRUE(NSImage::initWithData(manyScans(150)).has_value());
    EXPECT_FALSE(NSImage::initWithData(manyScans(5000)).has_value());
}

TEST(JpegReader, HeaderOfTooManyPixelsIsRefused)
{
    Bytes jpeg = makeJpeg(photo(64, 64));
    const Bytes marker { 0xFF, 0xC0 };
    auto frame = std::search(jpeg.begin(), jpeg.end(), marker.begin(), marker.end());
    std::size_t offset = static_cast<std::size_t>(frame - jpeg.begin());
    for (std::size_t i : { offset + 5, offset + 7 }) {
        jpeg[i] = 0xFF;
        jpeg[i + 1] = 0xDC;
    }
    EXPECT_FALSE(NSImage::initWithData(jpeg).has_value());
}

} // namespace
} // namespace mv
