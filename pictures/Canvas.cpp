#include "pictures/Canvas.h"

#include "Base/Media/TiffForm.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

constexpr std::size_t PixelBytes = 4;
constexpr std::uint8_t White = 255; // of each channel, alpha too

std::uint8_t timesAlpha(unsigned value, unsigned alpha)
{
    return static_cast<std::uint8_t>((value * alpha + 127) / 255);
}

/// Lays a colour, alpha not multiplied in, over an opaque pixel, which stays opaque.
void paintOver(std::uint8_t* pixel, const std::uint8_t* color)
{
    unsigned alpha = color[3];
    if (alpha == 255) {
        std::memcpy(pixel, color, PixelBytes);
        return;
    }
    for (std::size_t c = 0; c < 3; ++c)
        pixel[c] = static_cast<std::uint8_t>(timesAlpha(color[c], alpha) + timesAlpha(pixel[c], 255U - alpha));
}

} // namespace

Canvas::Canvas(int width, int height)
    : m_width(width)
    , m_height(height)
{
    std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * PixelBytes;
    m_file.reserve(TiffHeaderBytes + pixels + TiffDirectoryBytes);
    m_file.resize(TiffHeaderBytes + pixels, White);
}

std::optional<Canvas> Canvas::create(int width, int height)
{
    if (width < 1 || height < 1 || std::int64_t { width } * height > MaxCanvasPixels)
        return std::nullopt;
    return Canvas(width, height);
}

std::uint8_t* Canvas::pixelAt(int x, int y)
{
    return &m_file[TiffHeaderBytes + (static_cast<std::size_t>(y) * m_width + x) * PixelBytes];
}

void Canvas::fill(Color color)
{
    const std::uint8_t straight[] = { color.red, color.green, color.blue, color.alpha };
    for (std::size_t i = TiffHeaderBytes; i < m_file.size(); i += PixelBytes)
        paintOver(&m_file[i], straight);
}

void Canvas::draw(const Bitmap& bitmap, int x, int y)
{
    int left = std::max(x, 0);
    int right = std::min(x + bitmap.width, m_width);
    int bottom = std::min(y + bitmap.height, m_height);
    for (int row = std::max(y, 0); row < bottom; ++row) {
        if (left >= right)
            return;
        const std::uint8_t* from
            = &bitmap.pixels[(static_cast<std::size_t>(row - y) * bitmap.width + (left - x)) * PixelBytes];
        std::uint8_t* to = pixelAt(left, row);
        for (int column = left; column < right; ++column, from += PixelBytes, to += PixelBytes)
            paintOver(to, from);
    }
}

Bytes Canvas::tiffRepresentation() &&
{
    finishTiff(m_file, m_width, m_height);
    return std::move(m_file);
}

} // namespace mv
