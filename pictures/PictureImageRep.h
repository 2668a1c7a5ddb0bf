#pragma once

#include "pictures/ImageRep.h"
#include "pictures/PictureReader.h"

namespace mv {

/// A representation that decodes its picture anew whenever pixels are asked for.
class PictureImageRep final : public ImageRep {
public:
    explicit PictureImageRep(std::unique_ptr<PictureReader> reader, Drawing drawing = Drawing::Faithful)
        : m_reader(std::move(reader))
        , m_drawing(drawing)
    {
    }

    int pixelsWide() const override { return m_reader->header().width; }
    int pixelsHigh() const override { return m_reader->header().height; }
    Result<Color> colorAtXY(int x, int y) const override;
    Result<Bitmap> scaledTo(int width, int height) const override;

private:
    int lobesFor(int width, int height) const;

    std::unique_ptr<PictureReader> m_reader;
    Drawing m_drawing;
    // Covers ask for the pixel (1, 1) beside their scaled picture; scaling the unreduced raster finds it on its way.
    mutable std::optional<Color> m_corner;
};

} // namespace mv
