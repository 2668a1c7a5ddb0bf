#include "pictures/Canvas.h"

#include "Base/Core/ByteReader.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace mv {

namespace {

constexpr std::size_t HeaderBytes = 8;
constexpr std::size_t PixelBytes = 4;
constexpr std::uint8_t White = 255; // of each channel, alpha too

enum TiffType : std::uint16_t { Short = 3, Long = 4, Rational = 5 };

struct TiffEntry {
    std::uint16_t tag;
    TiffType type;
    std::uint32_t count;
    std::uint32_t value; ///< or the place of values that need more than four bytes
};

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

void writeEntry(ByteWriter& writer, const TiffEntry& entry)
{
    writer.u16le(entry.tag);
    writer.u16le(entry.type);
    writer.u32le(entry.count);
    writer.u32le(entry.value); // a single Short stands in the first two bytes, as little endian has it
}

constexpr std::uint32_t EntryCount = 14;

/// The fourteen entries of a directory at `directory`, whose longer values follow it.
std::array<TiffEntry, EntryCount> entriesOf(int pictureWidth, int pictureHeight, std::uint32_t directory)
{
    auto width = static_cast<std::uint32_t>(pictureWidth);
    auto height = static_cast<std::uint32_t>(pictureHeight);
    auto pixelBytes = static_cast<std::uint32_t>(directory - HeaderBytes);
    std::uint32_t values = directory + 2 + EntryCount * 12 + 4;
    return { {
        { 256, Long, 1, width }, // ImageWidth
        { 257, Long, 1, height }, // ImageLength
        { 258, Short, 4, values }, // BitsPerSample
        { 259, Short, 1, 1 }, // Compression: none
        { 262, Short, 1, 2 }, // PhotometricInterpretation: RGB
        { 273, Long, 1, HeaderBytes }, // StripOffsets
        { 274, Short, 1, 1 }, // Orientation: top left
        { 277, Short, 1, 4 }, // SamplesPerPixel
        { 278, Long, 1, height }, // RowsPerStrip
        { 279, Long, 1, pixelBytes }, // StripByteCounts
        { 282, Rational, 1, values + 8 }, // XResolution
        { 283, Rational, 1, values + 8 }, // YResolution
        { 296, Short, 1, 2 }, // ResolutionUnit: inch
        { 338, Short, 1, 1 }, // ExtraSamples: associated alpha
    } };
}

} // namespace

Canvas::Canvas(int width, int height)
    : m_width(width)
    , m_height(height)
{
    std::size_t pixels = static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * PixelBytes;
    constexpr std::size_t DirectoryBytes = 256;
    m_file.reserve(HeaderBytes + pixels + DirectoryBytes);
    m_file.resize(HeaderBytes + pixels, White);
}

std::optional<Canvas> Canvas::create(int width, int height)
{
    if (width < 1 || height < 1 || std::int64_t { width } * height > MaxCanvasPixels)
        return std::nullopt;
    return Canvas(width, height);
}

std::uint8_t* Canvas::pixelAt(int x, int y)
{
    return &m_file[HeaderBytes + (static_cast<std::size_t>(y) * m_width + x) * PixelBytes];
}

void Canvas::fill(Color color)
{
    const std::uint8_t straight[] = { color.red, color.green, color.blue, color.alpha };
    for (std::size_t i = HeaderBytes; i < m_file.size(); i += PixelBytes)
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
    auto directory = static_cast<std::uint32_t>(m_file.size());
    Bytes header;
    ByteWriter headerWriter(header);
    headerWriter.text("II");
    headerWriter.u16le(42);
    headerWriter.u32le(directory);
    std::copy(header.begin(), header.end(), m_file.begin());

    ByteWriter writer(m_file);
    writer.u16le(EntryCount);
    for (const TiffEntry& entry : entriesOf(m_width, m_height, directory))
        writeEntry(writer, entry);
    writer.u32le(0); // no further picture
    for (std::uint32_t i = 0; i < 4; ++i)
        writer.u16le(8); // bits of each sample
    writer.u32le(72); // pixels an inch
    writer.u32le(1);
    return std::move(m_file);
}

} // namespace mv
