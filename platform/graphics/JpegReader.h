#pragma once

#include "platform/graphics/JpegDecompressor.h"
#include "platform/graphics/JpegOutline.h"
#include "platform/graphics/PictureReader.h"

namespace mv {

/// JPEG, baseline and progressive, gray, colour and four inks. Large pictures are decoded at a half, a quarter or an
/// eighth, straight from the coefficients; the orientation that Exif states is not applied.
class JpegReader final : public PictureReader {
public:
    static Result<PictureReaders> open(const SharedSource& source);

    const PictureHeader& header() const override { return m_header; }
    Result<void> decode(int targetWidth, int targetHeight, RowSink& sink) override;
    Result<void> decodeTop(int y, RowSink& sink) override;

private:
    JpegReader(SharedSource source, JpegOutline outline)
        : m_source(std::move(source))
        , m_outline(std::move(outline))
    {
    }

    Result<void> readHeader();
    Result<void> deliver(JpegDecompressor& jpeg, int denominator, RowSink& sink);
    bool needsDetails(const JpegScan& scan) const;
    JpegStretches stretchesAtOneEighth() const;

    SharedSource m_source;
    JpegOutline m_outline;
    PictureHeader m_header;
    std::vector<int> m_fullComponents; ///< ids of those that are not sampled more coarsely than others
};

} // namespace mv
