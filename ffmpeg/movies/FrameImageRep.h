#pragma once

#include "Base/Media/Orientation.h"
#include "ffmpeg/Handles.h"
#include "movies/MovieTypes.h"
#include "pictures/ImageRep.h"

namespace mv {

/// A decoded frame as a picture. Keeps the frame as the decoder made it; scaling goes from there straight to the size
/// that is asked for, so no full-size copy in RGB exists.
class FrameImageRep final : public ImageRep {
public:
    /// `size`: as shown, after turning; 0 x 0 for the frame's own.
    FrameImageRep(FrameHandle frame, Orientation orientation, PixelSize size);

    int pixelsWide() const override { return m_width; }
    int pixelsHigh() const override { return m_height; }
    Result<Color> colorAtXY(int x, int y) const override;
    Result<Bitmap> scaledTo(int width, int height) const override;

private:
    FrameHandle m_frame;
    Orientation m_orientation;
    int m_width;
    int m_height;
};

} // namespace mv
