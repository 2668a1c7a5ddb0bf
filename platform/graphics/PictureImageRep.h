#pragma once

#include "platform/graphics/NSImage.h"
#include "platform/graphics/PictureReader.h"

namespace mv {

/// A representation that decodes its picture anew whenever pixels are asked for.
class PictureImageRep final : public NSImageRep {
public:
    explicit PictureImageRep(std::unique_ptr<PictureReader> reader)
        : m_reader(std::move(reader))
    {
    }

    int pixelsWide() const override { return m_reader->header().width; }
    int pixelsHigh() const override { return m_reader->header().height; }
    Result<NSColor> colorAtXY(int x, int y) const override;
    Result<Bitmap> scaledTo(int width, int height) const override;

private:
    std::unique_ptr<PictureReader> m_reader;
    // Covers ask for the pixel (1, 1) beside their scaled picture; scaling the unreduced raster finds it on its way.
    mutable std::optional<NSColor> m_corner;
};

} // namespace mv
