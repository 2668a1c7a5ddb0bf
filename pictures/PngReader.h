#pragma once

#include "pictures/PngHeader.h"

namespace mv {

/// PNG of every kind: 1 to 16 bits, palettes, alpha, one transparent colour, interlaced. An animation is its default
/// picture. Gamma and chromaticity chunks are not applied; profiles are.
class PngReader final : public PictureReader {
public:
    static Result<PictureReaders> open(const SharedSource& source);

    const PictureHeader& header() const override { return m_header.picture; }
    Result<void> decode(int targetWidth, int targetHeight, RowSink& sink) override;

private:
    PngReader(SharedSource source, PngHeader header)
        : m_source(std::move(source))
        , m_header(std::move(header))
    {
    }

    SharedSource m_source;
    PngHeader m_header;
};

} // namespace mv
