#pragma once

#include "pictures/PictureReader.h"

#include <array>

struct GifFileType;

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
    };

    explicit GifReader(SharedSource source)
        : m_source(std::move(source))
    {
        m_colors.fill({ 0, 0, 0, 255 });
    }
    Result<void> takeStart(const GifFileType& gif, int transparentIndex);
    bool coversScreen() const;
    void placeRow(const Bytes& indices, Bytes& row) const;

    SharedSource m_source;
    PictureHeader m_header;
    Frame m_frame;
    std::array<std::array<std::uint8_t, 4>, 256> m_colors {};
};

} // namespace mv
