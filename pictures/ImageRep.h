#pragma once

#include "Base/Core/Result.h"
#include "Base/Media/Bitmap.h"

namespace mv {

/// One representation of a picture: a page of a TIFF, a frame of a movie. Its size is known from its header alone;
/// pixels are made only when they are asked for. Used on one thread at a time.
class ImageRep {
public:
    virtual ~ImageRep() = default;
    /// Pixels; no rotation is applied to pictures.
    virtual int pixelsWide() const = 0;
    virtual int pixelsHigh() const = 0;
    /// The colour of one source pixel, counted from the top left; coordinates past an edge mean the edge.
    virtual Result<Color> colorAtXY(int x, int y) const = 0;
    /// The whole picture resampled to width x height pixels (both at least 1) with high quality.
    virtual Result<Bitmap> scaledTo(int width, int height) const = 0;
};

} // namespace mv
