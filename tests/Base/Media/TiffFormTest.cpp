#include "Base/Media/TiffForm.h"

#include "Base/Core/ByteReader.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace mv {
namespace {

constexpr int Width = 3;
constexpr int Height = 2;

Bytes somePixels()
{
    Bytes pixels;
    for (std::uint8_t i = 0; i < Width * Height * TiffPixelBytes; ++i)
        pixels.push_back(static_cast<std::uint8_t>(10 * i));
    return pixels;
}

Bytes someFile() { return tiffOfPixels({ Width, Height, somePixels() }); }

/// Where a byte is none of the pixels'.
bool isForm(const Bytes& file, std::size_t place)
{
    return place < TiffHeaderBytes || place >= file.size() - TiffDirectoryBytes;
}

/// The place of the value of a directory's entry.
std::size_t valuePlace(const Bytes& file, std::size_t entry)
{
    return file.size() - TiffDirectoryBytes + 2 + entry * 12 + 8;
}

void put(Bytes& file, std::size_t place, std::uint32_t value)
{
    Bytes bytes;
    ByteWriter(bytes).u32le(value);
    std::ranges::copy(bytes, file.begin() + static_cast<std::ptrdiff_t>(place));
}

TEST(TiffForm, PixelsComeBack)
{
    const Bytes pixels = somePixels();
    const Bytes file = someFile();
    EXPECT_EQ(file.size(), TiffHeaderBytes + pixels.size() + TiffDirectoryBytes);
    auto found = pixelsOfTiff(file);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->width, Width);
    EXPECT_EQ(found->height, Height);
    EXPECT_TRUE(std::ranges::equal(found->pixels, pixels));
}

TEST(TiffForm, AnyPixelsAreAPicture)
{
    Bytes file = someFile();
    for (std::size_t i = 0; i < file.size(); ++i) {
        if (!isForm(file, i))
            file[i] ^= 0xff;
    }
    EXPECT_TRUE(pixelsOfTiff(file));
}

TEST(TiffForm, OneOtherByteBesideThemIsNone)
{
    const Bytes file = someFile();
    for (std::size_t i = 0; i < file.size(); ++i) {
        for (std::uint8_t change : { 0x01, 0x80 }) {
            Bytes other = file;
            other[i] ^= change;
            EXPECT_EQ(bool(pixelsOfTiff(other)), !isForm(file, i)) << i;
        }
    }
}

TEST(TiffForm, AnotherLengthIsNone)
{
    Bytes file = someFile();
    for (std::size_t length = 0; length < file.size(); ++length)
        EXPECT_FALSE(pixelsOfTiff(ByteView(file).first(length))) << length;
    file.push_back(0);
    EXPECT_FALSE(pixelsOfTiff(file));
}

TEST(TiffForm, SidesThatNoPictureHasAreNone)
{
    struct Sides {
        std::uint32_t width;
        std::uint32_t height;
    };
    // The last ones give the right number of bytes where the product has no more room.
    for (Sides sides : { Sides { 0, Height }, Sides { Width, 0 }, Sides { 6, 2 }, Sides { 0xffffffff, 0xffffffff },
             Sides { 0x80000000, 0x80000000 }, Sides { 0x40000003, 2 }, Sides { 0x80000006, 1 } }) {
        Bytes file = someFile();
        put(file, valuePlace(file, 0), sides.width);
        put(file, valuePlace(file, 1), sides.height);
        EXPECT_FALSE(pixelsOfTiff(file)) << sides.width << " x " << sides.height;
    }
}

} // namespace
} // namespace mv
