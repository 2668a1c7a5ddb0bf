#pragma once

#include "service/include/MVImageInfoBuilder.h"

namespace mv {

/// Where a picture goes in its thumbnail; pixels.
struct ThumbnailGeometry {
    int width = 0; ///< of the scaled picture
    int height = 0;
    int canvasWidth = 0;
    int canvasHeight = 0;
    int x = 0; ///< of the scaled picture's left edge on the canvas, negative where it is wider
    int y = 0; ///< of its top edge

    bool operator==(const ThumbnailGeometry&) const = default;
};

/// The default maximum of a content category.
FloatSize defaultThumbnailMaximum(int category);

/// Scales `sourceWidth` x `sourceHeight` (at least 1 each) into `maximum`, up as well as down, in single precision with
/// every result cut off toward zero. Maxima that are negative, infinite or no numbers give canvas sides below 1.
ThumbnailGeometry thumbnailGeometry(int sourceWidth, int sourceHeight, int category, FloatSize maximum);

} // namespace mv
