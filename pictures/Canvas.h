#pragma once

#include "Base/Media/Bitmap.h"
#include "Base/Media/TiffForm.h"

#include <optional>

namespace mv {

/// The largest canvas that is made: 256 MB, more than any picture that a phone takes at full size.
inline constexpr std::int64_t MaxCanvasPixels = MaxTiffPixels;

/// A drawing surface of 8-bit red, green, blue and alpha, white at first. What is painted lies over what is there, so
/// every pixel stays opaque. Rows and places count from the top left.
class Canvas {
public:
    /// Nothing when a side is below 1 or the canvas would be too large.
    static std::optional<Canvas> create(int width, int height);

    int width() const { return m_width; }
    int height() const { return m_height; }
    /// Paints everything; a colour with alpha lets what is there through.
    void fill(Color color);
    /// Paints the bitmap, its top left corner at (x, y); what lies outside is cut off.
    void draw(const Bitmap& bitmap, int x, int y);
    /// Everything as a TIFF of the form of TiffForm.h, every alpha 255. The canvas is used up.
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
