#pragma once

#include "pictures/PictureReader.h"
#include "pictures/jpeg/JpegDecompressor.h"
#include "pictures/jpeg/JpegOutline.h"
#include "pictures/jpeg/JpegStrips.h"

#include <optional>

namespace mv {

/// JPEG, baseline and progressive, gray, colour and four inks. Large pictures are shrunk while they are decoded: by
/// JpegShrinker where it can, by libjpeg at a half, a quarter or an eighth otherwise. The orientation that Exif states
/// is not applied.
class JpegReader final : public PictureReader {
public:
    static Result<PictureReaders> open(const SharedSource& source, Drawing drawing = Drawing::Faithful);

    const PictureHeader& header() const override { return m_header; }
    Result<void> decode(int targetWidth, int targetHeight, RowSink& sink) override;
    Result<void> decodeTop(int y, RowSink& sink) override;

private:
    JpegReader(SharedSource source, const JpegOutline& outline, Drawing drawing)
        : m_source(std::move(source))
        , m_outline(outline)
        , m_drawing(drawing)
    {
    }

    Result<void> readHeader();
    std::optional<JpegShrinkPlan> shrinkPlan(int targetWidth, int targetHeight) const;
    Result<void> deliver(JpegDecompressor& jpeg, int denominator, RowSink& sink);

    SharedSource m_source;
    JpegOutline m_outline;
    Drawing m_drawing;
    PictureHeader m_header;
    std::optional<JpegColors> m_colors; ///< nothing for an odd kind
    bool m_invertInks = false;
    int m_coarseness = 1; ///< the most luminance samples across or down for one of colour
};

} // namespace mv
