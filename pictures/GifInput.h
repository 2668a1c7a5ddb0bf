#pragma once

#include "system/ByteSource.h"

#include <gif_lib.h>
#include <memory>

namespace mv {

/// A GIF file opened with giflib, read through a buffer, up to where the pixels of its first frame begin.
class GifInput {
public:
    /// Reads the screen, passes the extensions, reads the frame's descriptor.
    static Result<std::unique_ptr<GifInput>> open(const ByteSource& source);

    GifInput(const GifInput&) = delete;
    GifInput& operator=(const GifInput&) = delete;

    GifFileType& gif() { return *m_gif; }
    /// False when the frame's pixels are compressed in a way that there is not.
    bool hasPixels() const { return m_inPixels; }
    /// The colour index that is clear, or -1.
    int transparentIndex() const { return m_transparentIndex; }

private:
    struct Close {
        void operator()(GifFileType* gif) const { DGifCloseFile(gif, nullptr); }
    };

    explicit GifInput(const ByteSource& source)
        : m_source(source)
    {
    }
    static int readFor(GifFileType* gif, GifByteType* target, int count);
    int read(std::span<std::uint8_t> target);
    bool isBlockLength();
    std::size_t readLength(std::span<std::uint8_t> target, std::size_t done);
    std::size_t left() const;
    Result<void> findFrame();
    bool passExtension(int& blocks);

    const ByteSource& m_source;
    std::uint64_t m_offset = 0; ///< of what is behind the buffer
    Bytes m_buffer;
    std::size_t m_used = 0;
    bool m_inPixels = false;
    bool m_readsLength = false; ///< whether the latest read among the pixels was of a block's length
    int m_transparentIndex = -1;
    std::unique_ptr<GifFileType, Close> m_gif;
};

} // namespace mv
