#pragma once

#include "platform/NSImage.h"

namespace mv {

/// A representation whose pixels are in memory already.
class NSBitmapImageRep final : public NSImageRep {
public:
    explicit NSBitmapImageRep(Bitmap bitmap)
        : m_bitmap(std::move(bitmap))
    {
    }

    int pixelsWide() const override { return m_bitmap.width; }
    int pixelsHigh() const override { return m_bitmap.height; }
    Result<NSColor> colorAtXY(int x, int y) const override;
    Result<Bitmap> scaledTo(int width, int height) const override;

private:
    Bitmap m_bitmap;
};

} // namespace mv
