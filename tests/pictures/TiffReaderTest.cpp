#include "tests/pictures/Decoded.h"
#include "tests/pictures/ProfileMaker.h"
#include "tests/support/Scratch.h"

#include <functional>
#include <tiffio.h>

namespace mv {
namespace {

using namespace test;

struct TiffWish {
    int width = 40;
    int height = 30;
    int depth = 8;
    int samples = 3;
    int photometric = PHOTOMETRIC_RGB;
    int compression = COMPRESSION_NONE;
    int planar = PLANARCONFIG_CONTIG;
    int extraSample = -1;
    int tile = 0;
    int rowsPerStrip = 7;
    int orientation = ORIENTATION_TOPLEFT;
    const char* mode = "w";
    Bytes profile;
    std::function<int(int x, int y, int channel)> sample;
};

void setTags(TIFF* tiff, const TiffWish& wish)
{
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, wish.width);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, wish.height);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, wish.depth);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, wish.samples);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, wish.photometric);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, wish.compression);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, wish.planar);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, wish.orientation);
    if (wish.extraSample >= 0) {
        std::uint16_t kind = static_cast<std::uint16_t>(wish.extraSample);
        TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &kind);
    }
    if (wish.photometric == PHOTOMETRIC_YCBCR)
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    if (wish.photometric == PHOTOMETRIC_PALETTE) {
        std::vector<std::uint16_t> red(256), green(256), blue(256);
        for (std::size_t i = 0; i < 256; ++i) {
            red[i] = static_cast<std::uint16_t>(i << 8);
            green[i] = static_cast<std::uint16_t>((255 - i) << 8);
            blue[i] = 0x3300;
        }
        TIFFSetField(tiff, TIFFTAG_COLORMAP, red.data(), green.data(), blue.data());
    }
    if (!wish.profile.empty())
        TIFFSetField(tiff, TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(wish.profile.size()), wish.profile.data());
    if (wish.tile) {
        TIFFSetField(tiff, TIFFTAG_TILEWIDTH, wish.tile);
        TIFFSetField(tiff, TIFFTAG_TILELENGTH, wish.tile);
    } else {
        TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, wish.rowsPerStrip);
    }
}

Bytes packed(const TiffWish& wish, int x0, int y, int columns, int first, int count)
{
    Bytes row;
    int pool = 0;
    int bits = 0;
    for (int x = x0; x < x0 + columns; ++x) {
        for (int c = first; c < first + count; ++c) {
            int value = x < wish.width && y < wish.height ? wish.sample(x, y, c) : 0;
            if (wish.depth == 16) {
                row.push_back(static_cast<std::uint8_t>(value)); // little endian, as libtiff takes it here
                row.push_back(static_cast<std::uint8_t>(value >> 8));
            } else if (wish.depth == 8) {
                row.push_back(static_cast<std::uint8_t>(value));
            } else {
                pool = pool << wish.depth | value;
                bits += wish.depth;
                if (bits == 8) {
                    row.push_back(static_cast<std::uint8_t>(pool));
                    pool = bits = 0;
                }
            }
        }
    }
    if (bits)
        row.push_back(static_cast<std::uint8_t>(pool << (8 - bits)));
    return row;
}

void writePixels(TIFF* tiff, const TiffWish& wish)
{
    if (wish.tile) {
        for (int y = 0; y < wish.height; y += wish.tile) {
            for (int x = 0; x < wish.width; x += wish.tile) {
                Bytes tile;
                for (int row = 0; row < wish.tile; ++row) {
                    Bytes part = packed(wish, x, y + row, wish.tile, 0, wish.samples);
                    tile.insert(tile.end(), part.begin(), part.end());
                }
                TIFFWriteTile(tiff, tile.data(), static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y), 0, 0);
            }
        }
        return;
    }
    int planes = wish.planar == PLANARCONFIG_SEPARATE ? wish.samples : 1;
    for (int plane = 0; plane < planes; ++plane) {
        for (int y = 0; y < wish.height; ++y) {
            Bytes row = packed(wish, 0, y, wish.width, plane, planes > 1 ? 1 : wish.samples);
            TIFFWriteScanline(tiff, row.data(), static_cast<std::uint32_t>(y), static_cast<std::uint16_t>(plane));
        }
    }
}

Bytes makeTiff(const std::vector<TiffWish>& pages)
{
    ScratchFolder folder;
    std::string path = folder.file("picture.tif");
    TIFF* tiff = TIFFOpen(path.c_str(), pages.front().mode);
    for (const TiffWish& page : pages) {
        setTags(tiff, page);
        writePixels(tiff, page);
        TIFFWriteDirectory(tiff);
    }
    TIFFClose(tiff);
    return readFile(path);
}

int pattern(int x, int y, int c) { return (x * 6 + y * 7 + c * 60) % 256; }

TEST(TiffReader, ColoursInEveryArrangement)
{
    const TiffWish wishes[] { {}, { .rowsPerStrip = 30 }, { .compression = COMPRESSION_LZW },
        { .compression = COMPRESSION_ADOBE_DEFLATE }, { .compression = COMPRESSION_PACKBITS }, { .tile = 16 },
        { .compression = COMPRESSION_LZW, .tile = 32 }, { .planar = PLANARCONFIG_SEPARATE }, { .mode = "wb" },
        { .mode = "w8" }, { .orientation = ORIENTATION_BOTRIGHT },
        { .compression = COMPRESSION_ADOBE_DEFLATE, .orientation = ORIENTATION_LEFTBOT },
        { .planar = PLANARCONFIG_SEPARATE, .orientation = ORIENTATION_BOTRIGHT } };
    int number = 0;
    for (TiffWish wish : wishes) {
        wish.sample = pattern;
        Bytes tiff = makeTiff({ wish });
        Bitmap bitmap = decoded(tiff);
        ASSERT_EQ(bitmap.width, 40) << number;
        for (auto [x, y] : { std::pair { 0, 0 }, std::pair { 39, 29 }, std::pair { 17, 3 }, std::pair { 16, 20 } }) {
            Color expected { static_cast<std::uint8_t>(pattern(x, y, 0)), static_cast<std::uint8_t>(pattern(x, y, 1)),
                static_cast<std::uint8_t>(pattern(x, y, 2)), 255 };
            EXPECT_EQ(pixelOf(bitmap, x, y), expected) << "arrangement " << number << " at " << x << ", " << y;
            EXPECT_EQ(*repOf(tiff)->colorAtXY(x, y), expected) << "arrangement " << number;
        }
        ++number;
    }
}

TEST(TiffReader, GrayOfEveryDepth)
{
    for (int depth : { 1, 2, 4, 8, 16 }) {
        for (int photometric : { PHOTOMETRIC_MINISBLACK, PHOTOMETRIC_MINISWHITE }) {
            TiffWish wish { .depth = depth, .samples = 1, .photometric = photometric };
            int largest = (1 << depth) - 1;
            wish.sample = [largest](int x, int, int) { return (x * 37) & largest; };
            Bitmap bitmap = decoded(makeTiff({ wish }));
            for (int x : { 0, 1, 2, 3, 7, 11 }) {
                int value = static_cast<int>(std::int64_t { (x * 37) & largest } * 255 / largest);
                if (photometric == PHOTOMETRIC_MINISWHITE)
                    value = 255 - value;
                EXPECT_NEAR(pixelOf(bitmap, x, 5).red, value, 1) << depth << ", " << photometric;
            }
        }
    }
}

TEST(TiffReader, SixteenBitColoursAndPalette)
{
    TiffWish wide { .depth = 16 };
    wide.sample = [](int x, int y, int c) { return pattern(x, y, c) * 257; };
    EXPECT_EQ(pixelOf(decoded(makeTiff({ wide })), 9, 9).green, pattern(9, 9, 1));
    TiffWish palette { .samples = 1, .photometric = PHOTOMETRIC_PALETTE };
    palette.sample = pattern;
    int index = pattern(9, 9, 0);
    EXPECT_EQ(pixelOf(decoded(makeTiff({ palette })), 9, 9),
        (Color { static_cast<std::uint8_t>(index), static_cast<std::uint8_t>(255 - index), 0x33, 255 }));
}

TEST(TiffReader, AlphaOfBothKinds)
{
    TiffWish straight { .samples = 4, .extraSample = EXTRASAMPLE_UNASSALPHA };
    straight.sample = [](int, int, int c) { return c == 0 ? 200 : c == 3 ? 128 : 0; };
    EXPECT_EQ(pixelOf(decoded(makeTiff({ straight })), 3, 3), (Color { 200, 0, 0, 128 }));
    TiffWish multiplied = straight;
    multiplied.extraSample = EXTRASAMPLE_ASSOCALPHA;
    multiplied.sample = [](int, int, int c) { return c == 0 ? 100 : c == 3 ? 128 : 0; };
    EXPECT_EQ(pixelOf(decoded(makeTiff({ multiplied })), 3, 3), (Color { 199, 0, 0, 128 }));
    TiffWish unknown = straight;
    unknown.extraSample = EXTRASAMPLE_UNSPECIFIED;
    EXPECT_EQ(pixelOf(decoded(makeTiff({ unknown })), 3, 3), (Color { 200, 0, 0, 255 }));
}

TEST(TiffReader, Inks)
{
    TiffWish wish { .samples = 4, .photometric = PHOTOMETRIC_SEPARATED };
    wish.sample = [](int, int, int c) { return c == 0 ? 255 : c == 3 ? 51 : 0; };
    EXPECT_EQ(pixelOf(decoded(makeTiff({ wish })), 3, 3), (Color { 0, 204, 204, 255 }));
}

TEST(TiffReader, JpegInside)
{
    TiffWish wish {
        .width = 64, .height = 48, .photometric = PHOTOMETRIC_YCBCR, .compression = COMPRESSION_JPEG, .rowsPerStrip = 16
    };
    wish.sample = [](int, int, int c) { return c == 0 ? 200 : 40; };
    expectNear(pixelOf(decoded(makeTiff({ wish })), 30, 30), { 200, 40, 40, 255 }, 4);
}

TEST(TiffReader, ProfileIsApplied)
{
    TiffWish wish { .profile = swappedProfile() };
    wish.sample = [](int, int, int c) { return c == 0 ? 255 : 0; };
    expectNear(pixelOf(decoded(makeTiff({ wish })), 3, 3), { 0, 0, 255, 255 }, 2);
}

TEST(TiffReader, PagesAreRepresentations)
{
    TiffWish first { .width = 10, .height = 10 };
    first.sample = [](int, int, int) { return 50; };
    TiffWish second { .width = 90, .height = 60 };
    second.sample = [](int, int, int) { return 90; };
    TiffWish third { .width = 20, .height = 5 };
    third.sample = [](int, int, int) { return 130; };
    auto image = NSImage::initWithData(makeTiff({ first, second, third }));
    ASSERT_TRUE(image.has_value());
    ASSERT_EQ(image->representations().size(), 3U);
    EXPECT_EQ(image->bestRepresentationForDevice(), image->representations()[1]);
    EXPECT_EQ(pixelOf(decoded(*image->representations()[0]), 1, 1).red, 50);
    EXPECT_EQ(pixelOf(decoded(*image->representations()[2]), 1, 1).red, 130);
    EXPECT_EQ(image->representations()[1]->pixelsHigh(), 60);
}

} // namespace
} // namespace mv
