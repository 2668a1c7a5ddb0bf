#pragma once

#include "platform/NSImage.h"
#include "service/include/MVImageInfoBuilder.h"

namespace mv {

/// Scales the first representation of `image` into the category's default maximum; TIFF bytes, or nothing.
/// Smaller pictures are scaled up. Keeps no reference to `image`. Safe on several threads at once.
std::optional<Bytes> makeThumbnailForContentCategory(const NSImage& image, int category);
/// The same into `maximum` (pixels, fractions cut off).
std::optional<Bytes> makeThumbnailForContentCategoryWithMaxSize(const NSImage& image, int category, FloatSize maximum);

} // namespace mv
