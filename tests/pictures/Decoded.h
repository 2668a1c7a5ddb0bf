#pragma once

#include "platform/NSImage.h"

#include <gtest/gtest.h>

namespace mv::test {

/// The first representation of encoded bytes; the test fails where there is none.
inline std::shared_ptr<ImageRep> repOf(const Bytes& bytes)
{
    auto image = NSImage::initWithData(bytes);
    EXPECT_TRUE(image.has_value());
    return image ? image->representations().front() : nullptr;
}

/// Scaled to its own size: every pixel as it is decoded.
inline Bitmap decoded(const ImageRep& rep)
{
    auto bitmap = rep.scaledTo(rep.pixelsWide(), rep.pixelsHigh());
    EXPECT_TRUE(bitmap.ok());
    return bitmap ? *bitmap : Bitmap {};
}

inline Bitmap decoded(const Bytes& bytes)
{
    auto rep = repOf(bytes);
    return rep ? decoded(*rep) : Bitmap {};
}

inline Color pixelOf(const Bitmap& bitmap, int x, int y)
{
    const std::uint8_t* pixel = &bitmap.pixels.at((static_cast<std::size_t>(y) * bitmap.width + x) * 4);
    return { pixel[0], pixel[1], pixel[2], pixel[3] };
}

inline void expectNear(Color got, Color expected, int tolerance)
{
    EXPECT_NEAR(got.red, expected.red, tolerance);
    EXPECT_NEAR(got.green, expected.green, tolerance);
    EXPECT_NEAR(got.blue, expected.blue, tolerance);
    EXPECT_EQ(got.alpha, expected.alpha);
}

} // namespace mv::test
