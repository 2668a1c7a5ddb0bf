#pragma once

#include "Base/Media/Bitmap.h"

#include <array>
#include <cstdint>

namespace mv {

/// One of the eight ways to lay a rectangle on a rectangle: sides swapped (mirrored at the main diagonal) first, then
/// mirrored.
struct Orientation {
    bool swapsSides = false;
    bool mirrorsX = false;
    bool mirrorsY = false;

    /// The nearest to a transformation matrix { a b u, c d v, x y w }, where x' = a x + c y and y' = b x + d y.
    static Orientation fromMatrix(const std::array<std::int32_t, 9>& matrix);
    /// What the tag Orientation of EXIF and TIFF says, 1 to 8; every other value leaves a picture as it is.
    static Orientation fromTag(int value);
    bool operator==(const Orientation&) const = default;
};

/// The picture turned.
Bitmap turned(Bitmap picture, Orientation orientation);

} // namespace mv
