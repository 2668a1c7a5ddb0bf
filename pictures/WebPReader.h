#pragma once

#include "pictures/PictureReader.h"

namespace mv {

/// WebP, lossy and lossless, with alpha; of an animation the first frame on its canvas. Large pictures are shrunk by
/// the decoder while it decodes. The orientation that Exif states is not applied.
class WebPReader final : public PictureReader {
public:
    static Result<PictureReaders> open(const SharedSource& source);

    const PictureHeader& header() const override { return m_header; }
    Result<void> decode(int targetWidth, int targetHeight, RowSink& sink) override;

private:
    /// The compressed picture: its chunks, and its place on the canvas.
    struct Frame {
        std::uint64_t offset = 0;
        std::uint64_t length = 0;
        int x = 0;
        int y = 0;
        int width = 0;
        int height = 0;
    };

    WebPReader() = default;
    Result<void> readChunks(const ByteSource& source);
    Result<void> readAnimationFrame(const ByteSource& source, std::uint64_t offset, std::uint64_t length);
    Result<void> readFrameHeader(const ByteSource& source);
    bool coversCanvas() const { return m_frame.width == m_header.width && m_frame.height == m_header.height; }
    Result<Bytes> decodeFrame(int width, int height, int& rows) const;
    void placeFrame(const Bytes& pixels, int rows, RowSink& sink) const;

    SharedSource m_source;
    PictureHeader m_header;
    Frame m_frame;
};

} // namespace mv
