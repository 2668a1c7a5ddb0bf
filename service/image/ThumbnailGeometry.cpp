#include "service/image/ThumbnailGeometry.h"

#include "service/image/NSImageExtension.h"

#include <limits>

namespace mv {

namespace {

/// Toward zero; what an int cannot hold becomes its smallest value, as the processor's own conversion has it.
int truncated(float value)
{
    constexpr float TwoTo31 = 2147483648.0F;
    return value > -TwoTo31 && value < TwoTo31 ? static_cast<int>(value) : std::numeric_limits<int>::min();
}

int half(int canvas, int picture) { return static_cast<int>((std::int64_t { canvas } - picture) / 2); }

} // namespace

FloatSize defaultThumbnailMaximum(int category)
{
    switch (category) {
    case ThumbnailCategoryAlbumArt:
        return { 200, 200 };
    case ThumbnailCategoryVideoFrame:
        return { 130, 90 };
    default:
        return { 100, 100 };
    }
}

ThumbnailGeometry thumbnailGeometry(int sourceWidth, int sourceHeight, int category, FloatSize maximum)
{
    int maximumWidth = truncated(maximum.width);
    int maximumHeight = truncated(maximum.height);
    float widthRatio = static_cast<float>(sourceWidth) / static_cast<float>(maximumWidth);
    float heightRatio = static_cast<float>(sourceHeight) / static_cast<float>(maximumHeight);

    ThumbnailGeometry result;
    if (widthRatio <= heightRatio) {
        result.height = maximumHeight;
        result.width = truncated(static_cast<float>(sourceWidth) / heightRatio);
    } else {
        result.width = maximumWidth;
        result.height = truncated(static_cast<float>(sourceHeight) / widthRatio);
    }
    // Deliberate: a side that vanishes keeps all its source pixels, so a thin picture stays as long as it was thin.
    if (result.width == 0)
        result.width = sourceWidth;
    if (result.height == 0)
        result.height = sourceHeight;

    if (category == ThumbnailCategoryPicture) {
        result.canvasWidth = result.width;
        result.canvasHeight = result.height;
    } else {
        result.canvasWidth = maximumWidth;
        result.canvasHeight = maximumHeight;
        result.x = half(maximumWidth, result.width);
        result.y = half(maximumHeight, result.height);
    }
    return result;
}

} // namespace mv
