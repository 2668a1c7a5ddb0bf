#include "pictures/Resampler.h"

#include "tests/pictures/PictureMaker.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace test;

Bitmap resampled(const Bitmap& source, int width, int height)
{
    Resampler resampler(width, height);
    EXPECT_TRUE(resampler.begin({ source.width, source.height, PixelModel::RgbAlpha }));
    for (int y = 0; y < source.height; ++y)
        resampler.row(&source.pixels[static_cast<std::size_t>(y) * source.width * 4]);
    return { width, height, std::move(resampler.finish()).value() };
}

/// Every row by scatter(), the odd ones first.
Bitmap scattered(const Bitmap& source, int width, int height)
{
    Resampler resampler(width, height);
    EXPECT_TRUE(resampler.begin({ source.width, source.height, PixelModel::RgbAlpha }));
    for (int parity : { 1, 0 }) {
        for (int y = parity; y < source.height; y += 2)
            resampler.scatter(y, 0, 1, &source.pixels[static_cast<std::size_t>(y) * source.width * 4], source.width);
    }
    return { width, height, std::move(resampler.finish()).value() };
}

struct Case {
    int width, height, targetWidth, targetHeight;
};

class ResamplerCase : public testing::TestWithParam<Case> { };

TEST_P(ResamplerCase, IsCloseToTheTextbook)
{
    auto [width, height, targetWidth, targetHeight] = GetParam();
    Bitmap source = photo(width, height);
    EXPECT_GE(
        psnr(resampled(source, targetWidth, targetHeight), test::referenceLanczos(source, targetWidth, targetHeight)),
        42);
}

TEST_P(ResamplerCase, AnyOrderOfRowsGivesTheSame)
{
    auto [width, height, targetWidth, targetHeight] = GetParam();
    Bitmap source = photo(width, height);
    EXPECT_LE(
        meanDifference(resampled(source, targetWidth, targetHeight), scattered(source, targetWidth, targetHeight)),
        0.01);
}

INSTANTIATE_TEST_SUITE_P(Sizes, ResamplerCase,
    testing::Values(Case { 640, 480, 100, 75 }, Case { 1001, 667, 100, 66 }, Case { 317, 211, 100, 66 },
        Case { 120, 90, 100, 75 }, Case { 50, 37, 100, 74 }, Case { 30, 30, 200, 200 }, Case { 1200, 100, 100, 8 },
        Case { 333, 1000, 33, 100 }, Case { 101, 99, 101, 50 }, Case { 7, 5, 130, 90 }, Case { 2000, 1500, 100, 75 }));

TEST(Resampler, EqualSizeCopiesEveryByte)
{
    Bitmap source = photo(33, 21);
    source.pixels[3] = 0; // the colour of a clear pixel too
    EXPECT_EQ(resampled(source, 33, 21).pixels, source.pixels);
}

TEST(Resampler, PlainStaysPlain)
{
    Color color { 12, 200, 77, 255 };
    for (auto [width, height] : { std::pair { 100, 75 }, std::pair { 1, 1 }, std::pair { 3000, 2 } })
        EXPECT_EQ(
            resampled(test::plain(1237, 611, color), width, height).pixels, test::plain(width, height, color).pixels);
}

TEST(Resampler, ScalingUpKeepsTheCentre)
{
    // A ramp of two columns: the middle between them stays in the middle, left and right mirror each other.
    Bitmap source = test::plain(2, 1, { 50, 50, 50, 255 });
    source.pixels[4] = source.pixels[5] = source.pixels[6] = 200;
    Bitmap large = resampled(source, 100, 1);
    for (int x = 0; x < 100; ++x)
        EXPECT_NEAR(
            large.pixels[static_cast<std::size_t>(x) * 4] + large.pixels[static_cast<std::size_t>(99 - x) * 4], 250, 1)
            << x;
    EXPECT_NEAR(large.pixels[49 * 4], 125, 5);
    EXPECT_LT(large.pixels[20 * 4], 60);
}

TEST(Resampler, ClearPixelsLendNoColour)
{
    // Columns of opaque red and clear green; every mixture is red.
    Bitmap source = test::plain(400, 400, { 255, 0, 0, 255 });
    for (std::size_t i = 0; i < source.pixels.size(); i += 8) {
        std::uint8_t clearGreen[] { 0, 255, 0, 0 };
        std::copy_n(clearGreen, 4, &source.pixels[i]);
    }
    Bitmap small = resampled(source, 50, 50);
    for (std::size_t i = 0; i < small.pixels.size(); i += 4) {
        ASSERT_GE(small.pixels[i], 254);
        ASSERT_EQ(small.pixels[i + 1], 0);
        ASSERT_NEAR(small.pixels[i + 3], 128, 2);
    }
}

TEST(Resampler, MissingRowsRepeatTheLastOne)
{
    Resampler resampler(10, 10);
    ASSERT_TRUE(resampler.begin({ 100, 100, PixelModel::Gray }));
    Bytes row(100, 90);
    for (int y = 0; y < 30; ++y)
        EXPECT_TRUE(resampler.row(row.data()));
    EXPECT_EQ(*resampler.finish(), Bytes(100, 90));
}

TEST(Resampler, NoRowIsAnError)
{
    Resampler resampler(10, 10);
    ASSERT_TRUE(resampler.begin({ 100, 100, PixelModel::Gray }));
    EXPECT_EQ(resampler.finish().error().kind, Error::Kind::Format);
}

TEST(Resampler, OutOfOrderRastersThatNeedTooManySumsAreRefused)
{
    Resampler resampler(20'000, 20'000);
    ASSERT_TRUE(resampler.begin({ 30'000, 15'000, PixelModel::Gray }));
    Bytes row(30'000);
    resampler.scatter(0, 0, 1, row.data(), 30'000);
    EXPECT_FALSE(resampler.finish().ok());
}

TEST(LanczosTaps, WeightsSumToOneAndStayInside)
{
    for (auto [input, output] :
        { std::pair { 1, 7 }, std::pair { 7, 1 }, std::pair { 300, 100 }, std::pair { 99, 100 } }) {
        LanczosTaps taps(input, static_cast<double>(input) / output, output);
        for (int i = 0; i < output; ++i) {
            float sum = 0;
            for (int k = 0; k < taps.count(i); ++k)
                sum += taps.weights(i)[k];
            EXPECT_NEAR(sum, 1, 1e-5);
            EXPECT_GE(taps.first(i), 0);
            EXPECT_LE(taps.first(i) + taps.count(i), input);
            EXPECT_LE(taps.count(i), taps.maxCount());
        }
    }
}

} // namespace
} // namespace mv
