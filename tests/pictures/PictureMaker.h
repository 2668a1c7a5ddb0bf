#pragma once

#include "platform/NSImage.h"

namespace mv::test {

/// Smooth areas, edges and fine texture, the same at every call.
Bitmap photo(int width, int height);
Bitmap plain(int width, int height, Color color);

/// The mean difference of colour samples, alpha left out; -1 when the sizes differ.
double meanDifference(const Bitmap& a, const Bitmap& b);
/// Peak signal to noise in decibels over the colour samples.
double psnr(const Bitmap& a, const Bitmap& b);

/// The plain textbook computation in double precision, on the whole picture at once.
Bitmap referenceLanczos(const Bitmap& source, int width, int height);

} // namespace mv::test
