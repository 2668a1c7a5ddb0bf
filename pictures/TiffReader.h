#pragma once

#include "pictures/PictureReader.h"
#include "pictures/TiffFile.h"

namespace mv {

/// A TIFF page each. Common pages (gray, colour, palette, inks of up to 16 bits, in strips or tiles) are read row by
/// row; everything else that libtiff can turn into colours is read strip by strip. The orientation tag is not applied.
class TiffReader final : public PictureReader {
public:
    /// The readable pages up to the first that is not.
    static Result<PictureReaders> open(const SharedSource& source);

    const PictureHeader& header() const override { return m_header; }
    Result<void> decode(int targetWidth, int targetHeight, RowSink& sink) override;

private:
    TiffReader(SharedSource source, std::uint64_t directory)
        : m_source(std::move(source))
        , m_directory(directory)
    {
    }

    Result<void> readHeader(TIFF* tiff);

    SharedSource m_source;
    std::uint64_t m_directory; ///< where the page's tags are
    PictureHeader m_header;
    bool m_plain = false; ///< libtiff's rows can be used as they are
};

} // namespace mv
