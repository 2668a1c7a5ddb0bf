#pragma once

#include "pictures/PictureReader.h"

#include <array>

namespace mv {

/// The first frame of a GIF on its logical screen; what the frame does not cover is transparent.
class GifReader final : public PictureReader {
public:
    static Result<PictureReaders> open(const SharedSource& source);

    const PictureHeader& header() const override { return m_header; }
    Result<void> decode(int targetWidth, int targetHeight, RowSink& sink) override;

private:
    struct Frame {
        int x = 0;
        int y = 0;
        int width = 0;
        int height = 0;
        bool interlaced = false;
        std::uint64_t dataOffset = 0; ///< of the byte that starts the compressed pixels
    };

    GifReader() = default;
    Result<void> readStart(const ByteSource& source);
    Result<std::uint64_t> findFrame(const ByteSource& source, std::uint64_t offset);
    Result<void> readFrame(const ByteSource& source, std::uint64_t offset);
    Result<void> readColors(const ByteSource& source, std::uint64_t offset, std::size_t count);
    bool coversScreen() const;
    void placeRow(const std::uint8_t* indices, Bytes& row) const;

    SharedSource m_source;
    PictureHeader m_header;
    Frame m_frame;
    int m_transparentIndex = -1;
    std::array<std::array<std::uint8_t, 4>, 256> m_colors {};
};

} // namespace mv
