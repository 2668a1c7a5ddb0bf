#include "service/image/PictureRenderer.h"

#include "Base/Media/TiffForm.h"
#include "pictures/Canvas.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

/// A picture file whose pixels tell their row: red is its number's remainder.
OpenedFile pictureOf(int width, int height)
{
    Bitmap bitmap { width, height, Bytes(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4, 255) };
    for (std::size_t i = 0; i < bitmap.pixels.size(); i += 4)
        bitmap.pixels[i] = static_cast<std::uint8_t>(i / 4 / static_cast<std::size_t>(width) % 251);
    auto canvas = Canvas::create(width, height);
    canvas->draw(bitmap, 0, 0);
    return OpenedFile::ofBytes("a picture", std::move(*canvas).tiffRepresentation());
}

TiffPixels rowsOf(const std::optional<Record>& answer)
{
    auto pixels = answer && answer->data(kRenderedRows) ? pixelsOfTiff(*answer->data(kRenderedRows)) : std::nullopt;
    EXPECT_TRUE(pixels);
    return pixels.value_or(TiffPixels {});
}

TEST(PictureRenderer, ASmallPictureComesAtOnce)
{
    auto answer = renderPicture(pictureOf(5, 7), {});
    TiffPixels rows = rowsOf(answer);
    EXPECT_EQ(rows.width, 5);
    EXPECT_EQ(rows.height, 7);
    EXPECT_EQ(rows.pixels[4 * 5 * 6], 6);
    EXPECT_EQ(answer->integer(kRenderedHeight), 7);
    EXPECT_FALSE(answer->contains(kRenderingProblem));
}

TEST(PictureRenderer, ALargeOneComesInAsManyRowsAsThereIsRoomFor)
{
    constexpr int Width = 4096;
    constexpr int Room = static_cast<int>(MaxRenderedBytes / (Width * 4));
    OpenedFile file = pictureOf(Width, Room + 3);
    auto first = renderPicture(file, {});
    EXPECT_EQ(rowsOf(first).height, Room);
    EXPECT_EQ(first->integer(kRenderedHeight), Room + 3);
    auto rest = renderPicture(file, { .firstRow = Room });
    EXPECT_EQ(rowsOf(rest).height, 3);
    EXPECT_EQ(rowsOf(rest).pixels[0], Room % 251);
    EXPECT_EQ(rest->integer(kRenderedHeight), Room + 3);
}

// Who asks takes no other number of rows.
TEST(PictureRenderer, TheNumberOfRowsIsKnownBefore)
{
    constexpr int Width = 4096;
    constexpr int Room = static_cast<int>(MaxRenderedBytes / (Width * 4));
    EXPECT_EQ(renderedRows(Width, Room + 3, 0), Room);
    EXPECT_EQ(renderedRows(Width, Room + 3, Room), 3);
    EXPECT_EQ(renderedRows(Width, 10, 3), 7);
    EXPECT_EQ(renderedRows(100'000'000, 2, 0), 1) << "a row that alone is more";
    EXPECT_LT(renderedRows(Width, 10, 10), 1);
}

TEST(PictureRenderer, RowsThatAreNotThereAreNone)
{
    OpenedFile file = pictureOf(5, 7);
    EXPECT_TRUE(renderPicture(file, { .firstRow = 6 }));
    EXPECT_FALSE(renderPicture(file, { .firstRow = 7 }));
    EXPECT_FALSE(renderPicture(file, { .firstRow = -1 }));
}

TEST(PictureRenderer, AThumbnailIsOfTheTurnedPicture)
{
    PictureRendering rendering { ThumbnailCategoryPicture, FloatSize { 40, 40 }, Orientation::fromTag(6), 0 };
    auto thumbnail = renderPicture(pictureOf(80, 40), rendering);
    TiffPixels rows = rowsOf(thumbnail);
    EXPECT_EQ(rows.width, 20);
    EXPECT_EQ(rows.height, 40);
    // The last of the stored rows is on the left.
    EXPECT_GT(rows.pixels[0], rows.pixels[19 * 4]);
    rendering.maximum.reset();
    rendering.category = ThumbnailCategoryVideoFrame;
    auto frame = renderPicture(pictureOf(80, 40), rendering);
    TiffPixels usual = rowsOf(frame);
    EXPECT_EQ(usual.width, 130);
    EXPECT_EQ(usual.height, 90);
}

TEST(PictureRenderer, WhatIsNoPictureIsNothing)
{
    EXPECT_FALSE(renderPicture(OpenedFile(), {}));
    EXPECT_FALSE(renderPicture(OpenedFile::ofBytes("text", bytesOf("text")), {}));
    EXPECT_FALSE(renderPicture(OpenedFile::ofBytes("text", bytesOf("text")), { .category = 1 }));
}

} // namespace
} // namespace mv
