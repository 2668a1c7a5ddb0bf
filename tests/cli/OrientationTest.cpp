#include "cli/PictureDecoding.h"
#include "cli/PictureFile.h"
#include "cli/PictureOrientation.h"
#include "tests/cli/WorkerOfTheTool.h"
#include "tests/service/image/ExifMaker.h"
#include "tests/support/Instrumented.h"
#include "tests/support/Scratch.h"

#include "Base/Core/ByteReader.h"
#include "png/PngFile.h"

#include <gmock/gmock.h>

namespace mv::cli {
namespace {

using test::ExifMaker;

constexpr int TagOrientation = 0x0112;

/// Exif data with its mark in front.
Bytes exifWith(unsigned value) { return ExifMaker().shortValue(ExifMaker::Ifd0, TagOrientation, value).block(); }

class OrientationTest : public testing::Test {
protected:
    Orientation of(const Bytes& content) { return orientationOf(m_folder.write("p", ByteView(content))); }
    test::ScratchFolder m_folder;
};

Bytes webpWith(const std::vector<std::pair<std::string_view, Bytes>>& chunks)
{
    Bytes file;
    ByteWriter writer(file);
    writer.text(std::string_view("RIFF\0\0\0\0WEBP", 12));
    for (const auto& [name, body] : chunks) {
        writer.text(name);
        writer.u32le(static_cast<std::uint32_t>(body.size()));
        writer.bytes(body);
        writer.zeros(body.size() % 2);
    }
    return file;
}

Bytes text(std::string_view characters) { return { characters.begin(), characters.end() }; }

TEST_F(OrientationTest, EveryFormatThatCarriesTheTag)
{
    Orientation right = Orientation::fromTag(6);
    EXPECT_EQ(right, (Orientation { true, true, false }));
    Bytes exif = exifWith(6);
    Bytes bare(exif.begin() + 6, exif.end());
    EXPECT_EQ(of(test::jpegPicture(8, 8, exif)), right);
    EXPECT_EQ(of(test::pngPicture(8, 8, exif)), right);
    EXPECT_EQ(of(webpWith({ { "VP8 ", Bytes(7) }, { "EXIF", bare } })), right);
    EXPECT_EQ(of(webpWith({ { "EXIF", exif } })), right);
    EXPECT_EQ(of(bare), right); // a TIFF file begins like this
}

TEST_F(OrientationTest, EveryValueInBothByteOrders)
{
    for (auto order : { test::ByteOrder::Intel, test::ByteOrder::Motorola }) {
        for (unsigned value = 1; value <= 8; ++value) {
            Bytes exif = ExifMaker(order).shortValue(ExifMaker::Ifd0, TagOrientation, value).block();
            EXPECT_EQ(of(test::jpegPicture(8, 8, exif)), Orientation::fromTag(static_cast<int>(value))) << value;
        }
    }
    for (unsigned value : { 0u, 9u, 65535u })
        EXPECT_EQ(of(test::jpegPicture(8, 8, exifWith(value))), Orientation {}) << value;
}

TEST_F(OrientationTest, DamagedFilesAreUpright)
{
    Bytes whole = test::jpegPicture(8, 8, exifWith(6));
    for (std::size_t length = 0; length < 60; ++length)
        of(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
    EXPECT_EQ(of({}), Orientation {});
    EXPECT_EQ(of(text("no picture")), Orientation {});
    EXPECT_EQ(of(text(std::string_view("II*\0\xff\xff\xff\xff", 8))), Orientation {});
    EXPECT_EQ(of(text(std::string_view("\xff\xd8\xff\xe1\0\0", 6))), Orientation {});
    EXPECT_EQ(orientationOf(Path("/no/such")), Orientation {});
    EXPECT_EQ(orientationOf(Path(m_folder.path())), Orientation {});
}

TEST_F(OrientationTest, ThumbnailsOfEveryCategoryAreOfTheTurnedPicture)
{
    MV_NEEDS_CLOSED_PROCESSES();
    test::WorkerOfTheTool worker;
    // Four quarters: red, green over blue, white. Upright, a picture of tag 6 has blue, red over white, green.
    Bitmap stored { 80, 40, {} };
    for (int y = 0; y < 40; ++y) {
        for (int x = 0; x < 80; ++x) {
            const std::array<std::uint8_t, 4> Colours[]
                = { { 255, 0, 0, 255 }, { 0, 255, 0, 255 }, { 0, 0, 255, 255 }, { 255, 255, 255, 255 } };
            const auto& colour = Colours[(y / 20) * 2 + x / 40];
            stored.pixels.insert(stored.pixels.end(), colour.begin(), colour.end());
        }
    }
    std::string file = m_folder.write("p.png", ByteView(pngOf(stored)));
    auto thumbnail = [&](int category, FloatSize box) {
        auto tiff = thumbnailOfFile(file, category, box, Orientation::fromTag(6));
        EXPECT_TRUE(tiff.ok() && *tiff);
        return *bitmapOfTiff(**tiff);
    };
    auto colour = [](const Bitmap& bitmap, int x, int y) {
        const std::uint8_t* pixel = &bitmap.pixels[static_cast<std::size_t>(y * bitmap.width + x) * 4];
        return std::array<int, 3> { pixel[0], pixel[1], pixel[2] };
    };
    constexpr std::array<int, 3> Red { 255, 0, 0 }, Green { 0, 255, 0 }, kBlue { 0, 0, 255 }, Black { 0, 0, 0 };
    Bitmap plain = thumbnail(ThumbnailCategoryPicture, { 80, 80 });
    EXPECT_EQ(plain.width, 40);
    EXPECT_EQ(plain.height, 80);
    EXPECT_EQ(colour(plain, 5, 5), kBlue);
    EXPECT_EQ(colour(plain, 35, 5), Red);
    EXPECT_EQ(colour(plain, 35, 75), Green);
    // Margins have the colour of the turned picture's corner, or are black, on the left and the right.
    Bitmap cover = thumbnail(ThumbnailCategoryAlbumArt, { 80, 80 });
    EXPECT_EQ(cover.width, 80);
    EXPECT_EQ(colour(cover, 2, 40), kBlue);
    EXPECT_EQ(colour(cover, 77, 40), kBlue);
    EXPECT_EQ(colour(cover, 55, 5), Red);
    Bitmap frame = thumbnail(ThumbnailCategoryVideoFrame, { 80, 80 });
    EXPECT_EQ(colour(frame, 2, 40), Black);
    EXPECT_EQ(colour(frame, 25, 5), kBlue);
}

} // namespace
} // namespace mv::cli
