#pragma once

#include "platform/graphics/NSImage.h"

#include <optional>

namespace mv {

/// The largest canvas that is made: 256 MB, more than any picture that a phone takes at full size.
inline constexpr std::int64_t MaxCanvasPixels = 64 << 20;

/// A drawing surface of 8-bit red, green, blue and alpha, clear at first. Rows and places count from the top left.
class Canvas {
public:
    /// Nothing when a side is below 1 or the canvas would be too large.
    static std::optional<Canvas> create(int width, int height);

    int width() const { return m_width; }
    int height() const { return m_height; }
    /// Fills everything; a colour with alpha lets the clear canvas through.
    void fill(NSColor color);
    /// Lays the bitmap over what is there, its top left corner at (x, y); what lies outside is cut off.
    void draw(const Bitmap& bitmap, int x, int y);
    /// Everything as an uncompressed TIFF, RGBA with 8 bits each, colours multiplied by alpha (as the format's
    /// associated alpha). The canvas is used up.
    Bytes tiffRepresentation() &&;

private:
    Canvas(int width, int height);
    std::uint8_t* pixelAt(int x, int y);

    int m_width;
    int m_height;
    // The file in the making: its 8-byte header, then the pixels, so that the encoded form needs no second copy.
    Bytes m_file;
};

} // namespace mv
