// The sheet as a browser shows it; skipped where Chromium is not installed.
#include "platform/NSImage.h"
#include "tests/cli/ToolFixture.h"

#include <cstdlib>

namespace mv::cli {
namespace {

bool hasChromium() { return std::system("command -v chromium >/dev/null 2>&1") == 0; }

/// Pixels of a colour, give or take what JPEG and scaling add.
std::size_t countNear(const Bitmap& bitmap, int red, int green, int blue)
{
    std::size_t count = 0;
    for (std::size_t i = 0; i + 4 <= bitmap.pixels.size(); i += 4) {
        const std::uint8_t* pixel = &bitmap.pixels[i];
        count += std::abs(pixel[0] - red) < 12 && std::abs(pixel[1] - green) < 12 && std::abs(pixel[2] - blue) < 12;
    }
    return count;
}

class SheetInBrowser : public ToolOnBus {
protected:
    /// A video of one colour, or a picture where `name` ends like one.
    void plain(const std::string& name, const std::string& color)
    {
        bool video = name.ends_with(".mp4");
        made(name,
            "-f lavfi -i color=" + color + ":size=320x240:duration=12:rate=5 "
                + (video ? "-c:v mpeg4 -q:v 2" : "-frames:v 1"));
    }
    Bitmap screenshotOf(const std::string& page)
    {
        std::string picture = m_logs.file("shot.png");
        std::string command = "HOME=" + test::shellQuoted(m_logs.path())
            + " timeout 240 chromium --headless --no-sandbox"
            + " --disable-gpu --disable-dev-shm-usage --hide-scrollbars --window-size=1000,900 --screenshot="
            + test::shellQuoted(picture) + " " + test::shellQuoted("file://" + page) + " >/dev/null 2>&1";
        EXPECT_EQ(test::run(command), 0);
        auto image = NSImage::initWithContentsOfFile(OpenedFile::at(picture));
        if (!image)
            return {};
        const ImageRep& rep = *image->representations().front();
        return *rep.scaledTo(rep.pixelsWide(), rep.pixelsHigh());
    }
};

TEST_F(SheetInBrowser, PicturesOfEveryKindOfFileAreSeen)
{
    if (!hasChromium())
        GTEST_SKIP() << "no chromium";
    plain("red.png", "0xE02020");
    plain("blue.jpg", "0x2020E0");
    plain("green.mp4", "0x20A020");
    tone("song.wav");
    std::string page = m_logs.file("page.html");
    ASSERT_EQ(tool("sheet " + m_folder.path() + " " + page).status, 0);
    Bitmap shot = screenshotOf(page);
    ASSERT_EQ(shot.width, 1000);
    ASSERT_EQ(shot.height, 900);
    // Thumbnails of a hundred pixels across and seventy-five down, as large at least.
    constexpr std::size_t Thumbnail = 100 * 75 * 9 / 10;
    EXPECT_GT(countNear(shot, 0xE0, 0x20, 0x20), Thumbnail);
    EXPECT_GT(countNear(shot, 0x20, 0x20, 0xE0), Thumbnail);
    EXPECT_GT(countNear(shot, 0x20, 0xA0, 0x20), Thumbnail);
    if (const char* kept = std::getenv("MIVO_KEEP_SCREENSHOT"))
        test::run("cp " + test::shellQuoted(m_logs.file("shot.png")) + " " + test::shellQuoted(kept));
}

} // namespace
} // namespace mv::cli
