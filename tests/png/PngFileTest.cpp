#include "png/PngFile.h"

#include "tests/support/PngChunk.h"
#include "tests/support/Scratch.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

Bitmap bitmapOf(int width, int height, std::uint8_t alpha)
{
    Bitmap bitmap { width, height, {} };
    for (int i = 0; i < width * height; ++i) {
        auto value = static_cast<std::uint8_t>(i * 7);
        bitmap.pixels.insert(bitmap.pixels.end(), { value, static_cast<std::uint8_t>(255 - value), 30, alpha });
    }
    return bitmap;
}

class PngFileTest : public testing::Test {
protected:
    /// The pixels as another program reads them.
    Bytes pixelsOf(const Bytes& png)
    {
        std::string path = m_folder.write("a.png", ByteView(png));
        std::string pixels
            = test::outputOf("ffmpeg -nostdin -v error -i " + test::shellQuoted(path) + " -f rawvideo -pix_fmt rgba -");
        return { pixels.begin(), pixels.end() };
    }
    test::ScratchFolder m_folder;
};

TEST_F(PngFileTest, OthersReadTheVeryPixels)
{
    if (!test::haveProgram("ffmpeg"))
        GTEST_SKIP() << "the program ffmpeg is not installed";
    Bitmap opaque = bitmapOf(13, 7, 255);
    Bitmap clear = bitmapOf(13, 7, 90);
    EXPECT_EQ(pixelsOf(pngOf(opaque, { { "Thumb::URI", "file:///a" } })), opaque.pixels);
    EXPECT_EQ(pixelsOf(pngOf(clear)), clear.pixels);
    EXPECT_EQ(pngOf(opaque)[25], 2); // the header's kind of colour: without the fourth channel
    EXPECT_EQ(pngOf(clear)[25], 6);
}

TEST_F(PngFileTest, TextsComeBack)
{
    PngTexts texts { { "Thumb::URI", "file:///a%20b" }, { "Thumb::MTime", "12" }, { "Software", "" } };
    EXPECT_EQ(textsOfPng(pngOf(bitmapOf(3, 3, 255), texts)), texts);
    EXPECT_EQ(textsOfPng(pngOf(bitmapOf(3, 3, 255))), PngTexts());
}

TEST_F(PngFileTest, TextsOfWhatIsCutOrNoPngAreThoseThatAreWhole)
{
    PngTexts texts { { "A", "first" }, { "B", "second" } };
    Bytes png = pngOf(bitmapOf(3, 3, 255), texts);
    for (std::size_t length = 0; length <= png.size(); ++length) {
        for (const auto& [key, text] : textsOfPng(ByteView(png).first(length)))
            EXPECT_EQ(text, texts[key]);
    }
    EXPECT_EQ(textsOfPng(bytesOf("no PNG file, but longer than its first bytes")), PngTexts());
    Bytes odd(png.begin(), png.begin() + 33); // up to the end of the header's chunk
    test::appendPngChunk(odd, "tEXt", bytesOf("no zero byte"));
    test::appendPngChunk(odd, "tEXt", bytesOf(std::string_view("K\0v", 3)));
    EXPECT_EQ(textsOfPng(odd), (PngTexts { { "K", "v" } }));
}

} // namespace
} // namespace mv
