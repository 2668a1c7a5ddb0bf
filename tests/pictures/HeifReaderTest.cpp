#include "pictures/HeifReader.h"

#include "tests/pictures/Decoded.h"
#include "tests/pictures/HeifMaker.h"
#include "tests/pictures/PictureMaker.h"
#include "tests/pictures/ProfileMaker.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using test::HeifItem;
using test::makeHeif;

constexpr Color Red { 220, 30, 30, 255 };
constexpr Color Green { 30, 200, 30, 255 };
constexpr Color Blue { 30, 30, 220, 255 };
constexpr Color Gray { 128, 128, 128, 255 };

/// Red at the top left, green at the top right, blue at the bottom left; the fourth corner tells pictures apart.
Bitmap corners(int width, int height, Color fourth)
{
    Bitmap bitmap = test::plain(width, height, fourth);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (x >= width / 2 && y >= height / 2)
                continue;
            Color color = x < width / 2 ? (y < height / 2 ? Red : Blue) : Green;
            const std::uint8_t pixel[] { color.red, color.green, color.blue, 255 };
            std::copy(pixel, pixel + 4, &bitmap.pixels[(static_cast<std::size_t>(y) * width + x) * 4]);
        }
    }
    return bitmap;
}

constexpr Color WholeColor { 250, 250, 250, 255 };
constexpr Color PreviewColor { 10, 10, 10, 255 };

class HeifPreview : public testing::Test {
protected:
    void SetUp() override
    {
        if (!test::canEncodeHeif())
            GTEST_SKIP() << "heif-enc is not installed, or cannot encode HEVC";
        m_picture = test::heifItem(corners(320, 240, WholeColor));
        m_preview = test::heifItem(corners(96, 72, PreviewColor));
    }

    static Bitmap drawn(const Bytes& file, int width, int height, Drawing drawing = Drawing::Quick)
    {
        auto image = NSImage::initWithData(file, drawing);
        EXPECT_TRUE(image.has_value());
        auto bitmap = image ? image->representations().front()->scaledTo(width, height)
                            : Result<Bitmap>(Error { Error::Kind::Format, "none" });
        EXPECT_TRUE(bitmap.ok());
        return bitmap ? *bitmap : Bitmap {};
    }
    /// Which of the two a drawing was made of, by one of its pixels.
    static std::string origin(const Bitmap& bitmap, int x, int y)
    {
        Color color = test::pixelOf(bitmap, x, y);
        return color.red < 60 && color.green < 60 && color.blue < 60   ? "preview"
            : color.red > 200 && color.green > 200 && color.blue > 200 ? "whole"
                                                                       : "neither";
    }
    static std::string origin(const Bytes& file, int width, int height, Drawing drawing = Drawing::Quick)
    {
        return origin(drawn(file, width, height, drawing), width * 3 / 4, height * 3 / 4);
    }
    Bytes withPreview(const HeifItem& preview) const { return makeHeif(m_picture, { .previews = { preview } }); }

    HeifItem m_picture;
    HeifItem m_preview;
};

TEST_F(HeifPreview, QuickDrawingsUpToItsSizeAreMadeOfIt)
{
    Bytes file = withPreview(m_preview);
    for (int width : { 8, 40, 80, 96 })
        EXPECT_EQ(origin(file, width, width * 3 / 4), "preview") << width;
    EXPECT_EQ(origin(file, 100, 75), "whole");
    EXPECT_EQ(origin(makeHeif(m_picture), 40, 30), "whole");
}

TEST_F(HeifPreview, FaithfulDrawingsUpToHalfItsSizeAreMadeOfIt)
{
    Bytes file = withPreview(m_preview);
    EXPECT_EQ(origin(file, 48, 36, Drawing::Faithful), "preview");
    EXPECT_EQ(origin(file, 52, 39, Drawing::Faithful), "whole");
}

TEST_F(HeifPreview, AvifHasThemToo)
{
    if (!test::canEncodeHeif(true))
        GTEST_SKIP() << "heif-enc cannot encode AV1";
    HeifItem picture = test::heifItem(corners(320, 240, WholeColor), true);
    HeifItem preview = test::heifItem(corners(96, 72, PreviewColor), true);
    Bytes file = makeHeif(picture, { .previews = { preview }, .avif = true });
    EXPECT_EQ(origin(file, 96, 72), "preview");
    EXPECT_EQ(origin(file, 100, 75), "whole");
}

TEST_F(HeifPreview, TheSmallestThatIsLargeEnoughIsTaken)
{
    constexpr Color Other { 250, 10, 250, 255 };
    HeifItem larger = test::heifItem(corners(160, 120, Other));
    Bytes file = makeHeif(m_picture, { .previews = { larger, m_preview } });
    EXPECT_EQ(origin(file, 96, 72), "preview");
    test::expectNear(test::pixelOf(drawn(file, 120, 90), 90, 67), Other, 20);
    EXPECT_EQ(origin(file, 164, 123), "whole");
}

TEST_F(HeifPreview, ThoseThatAreTurnedLikeThePictureStandUpright)
{
    struct Row {
        std::vector<Bytes> turning;
        bool swapsSides;
        Color topLeft, topRight, bottomLeft;
        std::pair<int, int> fourth; ///< the corner that tells pictures apart: right, bottom
    };
    using test::mirrored;
    using test::quarterTurns;
    const Row rows[] {
        { { quarterTurns(1) }, true, Green, Gray, Red, { 1, 0 } },
        { { quarterTurns(2) }, false, Gray, Blue, Green, { 0, 0 } },
        { { quarterTurns(3) }, true, Blue, Red, Gray, { 0, 1 } },
        { { mirrored(1) }, false, Green, Red, Gray, { 0, 1 } },
        { { mirrored(0) }, false, Blue, Gray, Red, { 1, 0 } },
        { { quarterTurns(1), mirrored(1) }, true, Gray, Green, Blue, { 0, 0 } },
    };
    for (const Row& row : rows) {
        m_picture.properties = row.turning;
        m_preview.properties = row.turning;
        int width = row.swapsSides ? 72 : 96;
        int height = row.swapsSides ? 96 : 72;
        Bitmap bitmap = drawn(withPreview(m_preview), width, height);
        int number = static_cast<int>(&row - rows);
        EXPECT_EQ(origin(bitmap, width / 4 + row.fourth.first * width / 2, height / 4 + row.fourth.second * height / 2),
            "preview")
            << number;
        auto expectCorner = [&](Color color, int x, int y) {
            SCOPED_TRACE(number);
            if (color != Gray)
                test::expectNear(test::pixelOf(bitmap, x, y), color, 24);
        };
        expectCorner(row.topLeft, width / 4, height / 4);
        expectCorner(row.topRight, width * 3 / 4, height / 4);
        expectCorner(row.bottomLeft, width / 4, height * 3 / 4);
    }
}

TEST_F(HeifPreview, ThoseThatLieOtherwiseAreLeft)
{
    HeifItem turned = m_preview;
    turned.properties = { test::quarterTurns(2) };
    EXPECT_EQ(origin(withPreview(turned), 40, 30), "whole");
    // A picture on its head, whose preview says nothing of it.
    m_picture.properties = { test::quarterTurns(2) };
    Bitmap bitmap = drawn(withPreview(m_preview), 40, 30);
    EXPECT_EQ(origin(bitmap, 10, 7), "whole");
    // No turn is none, said or not.
    m_picture.properties = { test::quarterTurns(0) };
    EXPECT_EQ(origin(withPreview(m_preview), 40, 30), "preview");
}

TEST_F(HeifPreview, ThoseOfAnotherShapeAreLeft)
{
    EXPECT_EQ(origin(withPreview(test::heifItem(corners(80, 80, PreviewColor))), 40, 30), "whole");
    EXPECT_EQ(origin(withPreview(test::heifItem(corners(96, 64, PreviewColor))), 40, 30), "whole");
    // Sides are rounded: 70.2 rows would be right.
    m_picture = test::heifItem(corners(328, 240, WholeColor));
    EXPECT_EQ(origin(withPreview(m_preview), 41, 30), "preview");
}

TEST_F(HeifPreview, ThoseThatAreBrokenAreLeft)
{
    HeifItem cut = m_preview;
    cut.data.resize(cut.data.size() / 2);
    EXPECT_EQ(origin(withPreview(cut), 40, 30), "whole");
    HeifItem none = m_preview;
    none.data = Bytes(40);
    EXPECT_EQ(origin(withPreview(none), 40, 30), "whole");
    // Pixels of another size than the property says.
    HeifItem liar = test::heifItem(corners(48, 72, PreviewColor));
    liar.width = 96;
    EXPECT_EQ(origin(withPreview(liar), 40, 30), "whole");
}

TEST_F(HeifPreview, ThoseOfOtherColoursAreLeft)
{
    HeifItem other = m_preview;
    other.properties = { test::colourProfile(test::swappedProfile()) };
    EXPECT_EQ(origin(withPreview(other), 40, 30), "whole");
    // The picture's own counts for one that says nothing, and for one that says the same.
    m_picture.properties = other.properties;
    for (const HeifItem& preview : { m_preview, other }) {
        Bitmap bitmap = drawn(withPreview(preview), 40, 30);
        EXPECT_EQ(origin(bitmap, 30, 22), "preview");
        EXPECT_GT(test::pixelOf(bitmap, 10, 7).blue, 150);
    }
}

TEST_F(HeifPreview, DamagedBoxesMakeAPictureOrNone)
{
    constexpr std::size_t Step = 11;
    Bytes file = withPreview(m_preview);
    std::size_t boxesEnd = charsOf(file).find("mdat");
    int drawn = 0;
    for (std::size_t place = 40; place < boxesEnd; place += Step) {
        Bytes damaged = file;
        damaged[place] ^= 0xFF;
        auto image = NSImage::initWithData(damaged, Drawing::Quick);
        auto bitmap = image ? image->representations().front()->scaledTo(40, 30)
                            : Result<Bitmap>(Error { Error::Kind::Format, "none" });
        if (!bitmap)
            continue;
        EXPECT_EQ(bitmap->pixels.size(), 40U * 30 * 4) << place;
        ++drawn;
    }
    EXPECT_GT(drawn, 0);
}

} // namespace
} // namespace mv
