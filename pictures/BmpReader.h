#pragma once

#include "pictures/BmpHeader.h"

namespace mv {

/// BMP of all depths and headers. Pixels that a run-length coded file never sets are black.
class BmpReader final : public PictureReader {
public:
    static Result<PictureReaders> open(const SharedSource& source);

    const PictureHeader& header() const override { return m_header.picture; }
    Result<void> decode(int targetWidth, int targetHeight, RowSink& sink) override;

private:
    BmpReader(SharedSource source, BmpHeader header)
        : m_source(std::move(source))
        , m_header(std::move(header))
    {
    }

    void decodePlain(RowSink& sink) const;

    SharedSource m_source;
    BmpHeader m_header;
};

} // namespace mv
