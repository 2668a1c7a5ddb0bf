#include "service/image/NSImageExtension.h"

#include "Base/Core/NSException.h"
#include "pictures/Canvas.h"
#include "platform/NSBitmapImageRep.h"
#include "service/image/ThumbnailGeometry.h"
#include "tests/service/image/TiffPicture.h"
#include "tests/support/LogCapture.h"

#include <cmath>
#include <gmock/gmock.h>
#include <limits>
#include <stdexcept>

namespace mv {
namespace {

using test::TiffPicture;
using test::tiffPicture;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr NSColor Red { 255, 0, 0, 255 };
constexpr NSColor Green { 0, 255, 0, 255 };
constexpr NSColor Black = NSColor::black();
constexpr NSColor White = NSColor::white();

Bitmap plain(int width, int height, NSColor color)
{
    Bitmap bitmap { width, height, {} };
    for (int i = 0; i < width * height; ++i)
        bitmap.pixels.insert(bitmap.pixels.end(), { color.red, color.green, color.blue, color.alpha });
    return bitmap;
}

NSImage imageOf(Bitmap bitmap) { return NSImage(std::make_shared<NSBitmapImageRep>(std::move(bitmap))); }
NSImage plainImage(int width, int height, NSColor color = Green) { return imageOf(plain(width, height, color)); }

/// A representation that is asked for more than it can do.
class FakeRep final : public NSImageRep {
public:
    FakeRep(int width, int height)
        : m_width(width)
        , m_height(height)
    {
    }
    int pixelsWide() const override { return m_width; }
    int pixelsHigh() const override { return m_height; }
    Result<NSColor> colorAtXY(int x, int y) const override
    {
        EXPECT_EQ(x, 1);
        EXPECT_EQ(y, 1);
        return color;
    }
    Result<Bitmap> scaledTo(int width, int height) const override
    {
        if (onDraw)
            onDraw();
        if (failing)
            return Error { Error::Kind::Format, "broken" };
        return plain(width, height, Green);
    }

    std::function<void()> onDraw;
    bool failing = false;
    Result<NSColor> color = Red;

private:
    int m_width;
    int m_height;
};

constexpr int Other = 7;

TEST(ThumbnailGeometry, DefaultMaxima)
{
    for (auto [category, width, height] :
        { std::tuple { 1, 200.0F, 200.0F }, { 2, 100.0F, 100.0F }, { 3, 130.0F, 90.0F }, { 0, 100.0F, 100.0F },
            { 4, 100.0F, 100.0F }, { 7, 100.0F, 100.0F }, { -1, 100.0F, 100.0F } }) {
        EXPECT_EQ(defaultThumbnailMaximum(category).width, width) << category;
        EXPECT_EQ(defaultThumbnailMaximum(category).height, height) << category;
    }
}

struct GeometryCase {
    int width, height, category;
    FloatSize maximum;
    ThumbnailGeometry expected;
};

TEST(ThumbnailGeometry, Table)
{
    const GeometryCase cases[] {
        { 640, 480, 2, { 100, 100 }, { 100, 75, 100, 75, 0, 0 } },
        { 640, 480, 3, { 130, 90 }, { 120, 90, 130, 90, 5, 0 } },
        { 640, 480, 1, { 200, 200 }, { 200, 150, 200, 200, 0, 25 } },
        { 480, 640, 2, { 100, 100 }, { 75, 100, 75, 100, 0, 0 } },
        { 50, 50, 2, { 100, 100 }, { 100, 100, 100, 100, 0, 0 } }, // scaled up; a tie
        { 1000, 1, 2, { 100, 100 }, { 100, 1, 100, 1, 0, 0 } }, // the lost side keeps its source pixels
        { 1000, 3, 2, { 100, 100 }, { 100, 3, 100, 3, 0, 0 } },
        { 1, 1000, 2, { 100, 100 }, { 1, 100, 1, 100, 0, 0 } },
        { 640, 480, 2, { 100.9F, 100.9F }, { 100, 75, 100, 75, 0, 0 } }, // fractions are cut off
        { 640, 480, 2, { 0.5F, 0.5F }, { 640, 480, 640, 480, 0, 0 } },
        { 640, 480, Other, { 0.5F, 0.5F }, { 640, 480, 0, 0, -320, -240 } },
        { 640, 480, 2, { 0, 100 }, { 640, 480, 640, 480, 0, 0 } },
        { 101, 100, Other, { 50, 60 }, { 50, 49, 50, 60, 0, 5 } }, // 11 / 2
        { 50, 100'000, Other, { 1, 100 }, { 50, 100, 1, 100, -24, 0 } }, // wider than its canvas: -49 / 2
        { 640, 480, 2, { 100, -100 }, { 100, 75, 100, 75, 0, 0 } }, // one negative side does not bind
        { 640, 480, 2, { -100, -100 }, { -133, -100, -133, -100, 0, 0 } },
        // 333 / (1000 / 100) in single precision
        { 333, 1000, 2, { 100, 100 }, { 33, 100, 33, 100, 0, 0 } },
        // 4032 / (3024 / 90) = 120 in single precision, 119.99 would be cut to 119
        { 4032, 3024, 3, { 130, 90 }, { 120, 90, 130, 90, 5, 0 } },
        { 3000, 2000, 2, { 100, 100 }, { 100, 66, 100, 66, 0, 0 } },
    };
    for (const GeometryCase& row : cases) {
        ThumbnailGeometry got = thumbnailGeometry(row.width, row.height, row.category, row.maximum);
        EXPECT_EQ(got, row.expected) << row.width << " x " << row.height << " category " << row.category << ": "
                                     << got.width << " x " << got.height << " on " << got.canvasWidth << " x "
                                     << got.canvasHeight << " at " << got.x << ", " << got.y;
    }
}

TEST(NSImageExtension, PictureCategoryIsTheScaledPictureItself)
{
    TiffPicture thumbnail = tiffPicture(*makeThumbnailForContentCategory(plainImage(640, 480), 2));
    EXPECT_EQ(thumbnail.width, 100);
    EXPECT_EQ(thumbnail.height, 75);
    for (auto [x, y] : { std::pair { 0, 0 }, std::pair { 99, 0 }, std::pair { 0, 74 }, std::pair { 99, 74 } })
        EXPECT_EQ(thumbnail.at(x, y), Green);
}

TEST(NSImageExtension, VideoFrameHasBlackMargins)
{
    TiffPicture thumbnail = tiffPicture(*makeThumbnailForContentCategory(plainImage(640, 480, Red), 3));
    EXPECT_EQ(thumbnail.width, 130);
    EXPECT_EQ(thumbnail.height, 90);
    EXPECT_EQ(thumbnail.at(4, 45), Black);
    EXPECT_EQ(thumbnail.at(5, 0), Red);
    EXPECT_EQ(thumbnail.at(124, 89), Red);
    EXPECT_EQ(thumbnail.at(125, 45), Black);
}

TEST(NSImageExtension, AlbumArtTakesItsMarginFromTheSourcePixel11)
{
    Bitmap bitmap = plain(100, 50, Green);
    // Only the pixel in the second column of the second row is red.
    bitmap.pixels[(100 + 1) * 4] = 255;
    bitmap.pixels[(100 + 1) * 4 + 1] = 0;
    TiffPicture thumbnail = tiffPicture(*makeThumbnailForContentCategory(imageOf(std::move(bitmap)), 1));
    EXPECT_EQ(thumbnail.width, 200);
    EXPECT_EQ(thumbnail.height, 200);
    EXPECT_EQ(thumbnail.at(0, 0), Red);
    EXPECT_EQ(thumbnail.at(199, 49), Red);
    EXPECT_EQ(thumbnail.at(150, 60), Green);
    EXPECT_EQ(thumbnail.at(0, 150), Red);
}

TEST(NSImageExtension, OtherCategoriesHaveTheContextsBlack)
{
    for (int category : { 7, 0, -3, 4 }) {
        TiffPicture thumbnail = tiffPicture(*makeThumbnailForContentCategory(plainImage(200, 100), category));
        EXPECT_EQ(thumbnail.width, 100);
        EXPECT_EQ(thumbnail.height, 100);
        EXPECT_EQ(thumbnail.at(50, 24), Black);
        EXPECT_EQ(thumbnail.at(50, 25), Green);
        EXPECT_EQ(thumbnail.at(50, 75), Black);
    }
}

// The canvas is addressed from its top left corner: an odd row that is left over goes to the bottom.
TEST(NSImageExtension, OddMarginsRoundTowardTheTopLeft)
{
    auto bytes = makeThumbnailForContentCategoryWithMaxSize(plainImage(101, 100), Other, { 50, 60 });
    TiffPicture thumbnail = tiffPicture(*bytes);
    EXPECT_EQ(thumbnail.at(25, 4), Black);
    EXPECT_EQ(thumbnail.at(25, 5), Green);
    EXPECT_EQ(thumbnail.at(25, 53), Green);
    EXPECT_EQ(thumbnail.at(25, 54), Black);
}

TEST(NSImageExtension, SmallPicturesAreScaledUp)
{
    TiffPicture thumbnail = tiffPicture(*makeThumbnailForContentCategory(plainImage(50, 50), 2));
    EXPECT_EQ(thumbnail.width, 100);
    EXPECT_EQ(thumbnail.height, 100);
    EXPECT_EQ(thumbnail.at(99, 99), Green);
}

TEST(NSImageExtension, ThinPictureKeepsItsHeight)
{
    TiffPicture thumbnail = tiffPicture(*makeThumbnailForContentCategory(plainImage(1000, 1), 2));
    EXPECT_EQ(thumbnail.width, 100);
    EXPECT_EQ(thumbnail.height, 1);
}

TEST(NSImageExtension, PictureWiderThanItsCanvasIsCutOff)
{
    auto bytes = makeThumbnailForContentCategoryWithMaxSize(plainImage(50, 1000), Other, { 1, 10 });
    TiffPicture thumbnail = tiffPicture(*bytes);
    EXPECT_EQ(thumbnail.width, 1);
    EXPECT_EQ(thumbnail.height, 10);
    EXPECT_EQ(thumbnail.at(0, 9), Green);
}

TEST(NSImageExtension, MaximumBelowOneIsAFullSizeCopyInThePictureCategory)
{
    Bitmap bitmap = plain(5, 3, Red);
    for (std::size_t i = 0; i < bitmap.pixels.size(); i += 4)
        bitmap.pixels[i] = static_cast<std::uint8_t>(i * 3);
    Bytes expected = bitmap.pixels;
    NSImage image = imageOf(std::move(bitmap));
    TiffPicture thumbnail = tiffPicture(*makeThumbnailForContentCategoryWithMaxSize(image, 2, { 0.5F, 0.5F }));
    EXPECT_EQ(thumbnail.width, 5);
    EXPECT_EQ(thumbnail.pixels, expected);

    test::LogCapture log;
    for (int category : { 1, 3, Other })
        EXPECT_FALSE(makeThumbnailForContentCategoryWithMaxSize(image, category, { 0.5F, 0.5F })) << category;
    EXPECT_FALSE(makeThumbnailForContentCategoryWithMaxSize(image, 1, { 100, 0.5F }));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(NSImageExtension, NothingToDrawIsNilWithoutAWord)
{
    test::LogCapture log;
    EXPECT_FALSE(makeThumbnailForContentCategory(NSImage {}, 2));
    EXPECT_FALSE(makeThumbnailForContentCategory(NSImage(std::shared_ptr<NSImageRep>()), 2));
    EXPECT_FALSE(makeThumbnailForContentCategory(NSImage(std::make_shared<FakeRep>(0, 10)), 2));
    EXPECT_FALSE(makeThumbnailForContentCategory(NSImage(std::make_shared<FakeRep>(10, 0)), 2));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(NSImageExtension, OnlyTheFirstRepresentationCounts)
{
    NSImage image = plainImage(10, 10);
    image.addRepresentation(std::make_shared<NSBitmapImageRep>(plain(900, 300, Red)));
    TiffPicture thumbnail = tiffPicture(*makeThumbnailForContentCategory(image, 2));
    EXPECT_EQ(thumbnail.height, 100);
    EXPECT_EQ(thumbnail.at(50, 50), Green);

    NSImage broken { std::shared_ptr<NSImageRep>() };
    broken.addRepresentation(std::make_shared<NSBitmapImageRep>(plain(9, 9, Red)));
    EXPECT_FALSE(makeThumbnailForContentCategory(broken, 2));
}

TEST(NSImageExtension, CanvasThatCannotBeMadeIsLogged)
{
    constexpr float Infinity = std::numeric_limits<float>::infinity();
    const FloatSize maxima[] { { NAN, NAN }, { Infinity, Infinity }, { -Infinity, -100 }, { -100, -100 },
        { 1e9F, 1e9F }, { 1e30F, 1e30F }, { 100'000, 100'000 }, { 2147483520.0F, 2147483520.0F } };
    for (FloatSize maximum : maxima) {
        for (int category : { 1, 2, 3, Other }) {
            test::LogCapture log;
            EXPECT_FALSE(makeThumbnailForContentCategoryWithMaxSize(plainImage(64, 48), category, maximum));
            EXPECT_THAT(log.lines(), ElementsAre("Could not render image")) << maximum.width << ", " << category;
        }
    }
}

TEST(NSImageExtension, OneNegativeSideStillMakesAPicture)
{
    auto bytes = makeThumbnailForContentCategoryWithMaxSize(plainImage(640, 480), 2, { 100, -100 });
    EXPECT_EQ(tiffPicture(*bytes).height, 75);
}

TEST(NSImageExtension, PixelsThatCannotBeDecodedAreNilWithoutAWord)
{
    auto rep = std::make_shared<FakeRep>(10, 10);
    rep->failing = true;
    test::LogCapture log;
    for (int category : { 1, 2, 3, Other })
        EXPECT_FALSE(makeThumbnailForContentCategory(NSImage(rep), category)) << category;
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(NSImageExtension, NothingIsDecodedForACanvasThatCannotBeMade)
{
    auto rep = std::make_shared<FakeRep>(10, 10);
    rep->onDraw = [] { ADD_FAILURE() << "decoded"; };
    for (int category : { 1, 2, 3, Other })
        EXPECT_FALSE(makeThumbnailForContentCategoryWithMaxSize(NSImage(rep), category, { 100'000, 100'000 }));
}

TEST(NSImageExtension, PlatformExceptionIsLoggedOthersPass)
{
    auto rep = std::make_shared<FakeRep>(10, 10);
    rep->onDraw = [] { throw NSException(NSInvalidArgumentException, "no such frame"); };
    test::LogCapture log;
    EXPECT_FALSE(makeThumbnailForContentCategory(NSImage(rep), 3));
    EXPECT_THAT(log.lines(), ElementsAre("makeThumbnailWithMaxSize Exception : no such frame"));

    rep->onDraw = [] { throw std::runtime_error("another"); };
    EXPECT_THROW(makeThumbnailForContentCategory(NSImage(rep), 3), std::runtime_error);
}

TEST(NSImageExtension, SourcePixelThatCannotBeHadLeavesBlack)
{
    auto rep = std::make_shared<FakeRep>(100, 50);
    rep->color = Error { Error::Kind::Format, "broken" };
    EXPECT_EQ(tiffPicture(*makeThumbnailForContentCategory(NSImage(rep), 1)).at(0, 0), Black);
}

TEST(NSImageExtension, ClearPartsShowTheFill)
{
    NSImage clear = plainImage(100, 50, { 9, 9, 9, 0 });
    EXPECT_EQ(tiffPicture(*makeThumbnailForContentCategory(clear, 2)).at(50, 25), White);
    EXPECT_EQ(tiffPicture(*makeThumbnailForContentCategory(clear, 3)).at(65, 45), Black);
    // Half of red over white
    NSImage half = plainImage(10, 10, { 255, 0, 0, 128 });
    EXPECT_EQ(tiffPicture(*makeThumbnailForContentCategory(half, 2)).at(5, 5), (NSColor { 255, 127, 127, 255 }));
}

bool isOpaque(const TiffPicture& picture)
{
    for (std::size_t alpha = 3; alpha < picture.pixels.size(); alpha += 4) {
        if (picture.pixels[alpha] != 255)
            return false;
    }
    return true;
}

TEST(NSImageExtension, AlbumArtOfAClearColourIsWhite)
{
    for (NSColor clear : { NSColor { 0, 0, 0, 0 }, NSColor { 255, 0, 0, 0 } }) {
        TiffPicture thumbnail = tiffPicture(*makeThumbnailForContentCategory(plainImage(100, 50, clear), 1));
        EXPECT_TRUE(isOpaque(thumbnail));
        EXPECT_EQ(thumbnail.at(0, 0), White); // the margin
        EXPECT_EQ(thumbnail.at(100, 100), White); // the picture
    }
}

TEST(NSImageExtension, AlbumArtOfHalfAColourIsMixedWithWhite)
{
    TiffPicture thumbnail = tiffPicture(*makeThumbnailForContentCategory(plainImage(100, 50, { 255, 0, 0, 128 }), 1));
    EXPECT_TRUE(isOpaque(thumbnail));
    EXPECT_EQ(thumbnail.at(0, 0), (NSColor { 255, 127, 127, 255 }));
    // The picture lies over the margin's colour.
    EXPECT_EQ(thumbnail.at(100, 100), (NSColor { 255, 63, 63, 255 }));
}

TEST(NSImageExtension, EveryMixtureOfColourAndAlphaGivesAnOpaqueThumbnail)
{
    // A column for each alpha, a row for each brightness.
    Bitmap bitmap { 256, 256, {} };
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x) {
            auto bright = static_cast<std::uint8_t>(y);
            bitmap.pixels.insert(bitmap.pixels.end(), { bright, bright, 0, static_cast<std::uint8_t>(x) });
        }
    }
    for (int category : { 1, 2, 3, Other })
        EXPECT_TRUE(isOpaque(tiffPicture(*makeThumbnailForContentCategory(imageOf(bitmap), category)))) << category;
    // At its own size: brightness by alpha, over white.
    TiffPicture copy = tiffPicture(*makeThumbnailForContentCategoryWithMaxSize(imageOf(bitmap), 2, { 256, 256 }));
    for (auto [x, y] : { std::pair { 0, 7 }, { 64, 200 }, { 128, 0 }, { 200, 255 }, { 255, 99 } })
        EXPECT_NEAR(copy.at(x, y).red, (y * x + 255 * (255 - x)) / 255.0, 1.0) << x << ", " << y;
}

TEST(NSImageExtension, BytesAreAnUncompressedTiffOfFourChannels)
{
    Bytes bytes = *makeThumbnailForContentCategory(plainImage(640, 480), 2);
    TiffPicture picture = tiffPicture(bytes);
    EXPECT_EQ(picture.bits, 8);
    EXPECT_EQ(picture.samples, 4);
    EXPECT_EQ(picture.compression, 1);
    EXPECT_EQ(picture.photometric, 2);
    EXPECT_EQ(picture.extraSample, 1);
    EXPECT_EQ(picture.pages, 1);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), std::string("II*\0", 4));
    EXPECT_EQ(bytes.size(), 8U + 100 * 75 * 4 + 190);
}

TEST(Canvas, IsWhiteUntilItIsPainted)
{
    TiffPicture picture = tiffPicture(Canvas::create(3, 2).value().tiffRepresentation());
    EXPECT_EQ(picture.pixels, Bytes(3 * 2 * 4, 255));
}

TEST(Canvas, RefusesWhatIsTooLarge)
{
    EXPECT_FALSE(Canvas::create(0, 5));
    EXPECT_FALSE(Canvas::create(5, -1));
    EXPECT_FALSE(Canvas::create(8193, 8193));
    EXPECT_TRUE(Canvas::create(1, 1));
}

} // namespace
} // namespace mv
