#include "pictures/TiffLayout.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

std::uint16_t shortField(TIFF* tiff, std::uint32_t tag)
{
    std::uint16_t value = 0;
    TIFFGetFieldDefaulted(tiff, tag, &value);
    return value;
}

} // namespace

std::optional<TiffLayout> TiffLayout::of(TIFF* tiff)
{
    std::uint16_t photometric = 0;
    if (!TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric))
        return std::nullopt;
    int compression = shortField(tiff, TIFFTAG_COMPRESSION);
    if (photometric == PHOTOMETRIC_YCBCR && compression == COMPRESSION_JPEG) {
        TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        photometric = PHOTOMETRIC_RGB;
    }
    TiffLayout layout;
    if (compression == COMPRESSION_OJPEG || !layout.readShape(tiff) || !layout.readModel(tiff, photometric))
        return std::nullopt;
    layout.readAlpha(tiff);
    return layout;
}

bool TiffLayout::readShape(TIFF* tiff)
{
    m_depth = shortField(tiff, TIFFTAG_BITSPERSAMPLE);
    m_samples = shortField(tiff, TIFFTAG_SAMPLESPERPIXEL);
    constexpr int MaxSamples = 16;
    bool depthFits
        = m_depth == 8 || m_depth == 16 || (m_samples == 1 && (m_depth == 1 || m_depth == 2 || m_depth == 4));
    return depthFits && m_samples >= 1 && m_samples <= MaxSamples
        && shortField(tiff, TIFFTAG_SAMPLEFORMAT) == SAMPLEFORMAT_UINT
        && (m_samples == 1 || shortField(tiff, TIFFTAG_PLANARCONFIG) == PLANARCONFIG_CONTIG);
}

bool TiffLayout::readModel(TIFF* tiff, int photometric)
{
    switch (photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
        m_model = PixelModel::Gray;
        m_inverted = photometric == PHOTOMETRIC_MINISWHITE;
        break;
    case PHOTOMETRIC_RGB:
        m_model = PixelModel::Rgb;
        break;
    case PHOTOMETRIC_SEPARATED:
        m_model = PixelModel::Cmyk;
        m_inverted = true;
        if (shortField(tiff, TIFFTAG_INKSET) != INKSET_CMYK)
            return false;
        break;
    case PHOTOMETRIC_PALETTE:
        m_model = PixelModel::Rgb;
        m_palette = true;
        m_colors = 1;
        return m_samples == 1 && m_depth <= 8 && readPalette(tiff);
    default:
        return false;
    }
    m_colors = channelsOf(m_model);
    return m_samples >= m_colors;
}

/// The table has 16 bits; old writers put 8-bit values into it.
bool TiffLayout::readPalette(TIFF* tiff)
{
    std::uint16_t* channels[3] = {};
    if (!TIFFGetField(tiff, TIFFTAG_COLORMAP, &channels[0], &channels[1], &channels[2]))
        return false;
    std::size_t count = std::size_t { 1 } << m_depth;
    bool wide = false;
    for (const std::uint16_t* channel : channels)
        wide = wide || std::any_of(channel, channel + count, [](std::uint16_t value) { return value > 255; });
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t c = 0; c < 3; ++c)
            m_table[i][c] = static_cast<std::uint8_t>(wide ? channels[c][i] >> 8 : channels[c][i]);
    }
    return true;
}

/// The first sample behind the colours is alpha only when the file says so.
void TiffLayout::readAlpha(TIFF* tiff)
{
    std::uint16_t count = 0;
    std::uint16_t* kinds = nullptr;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &count, &kinds);
    if (m_palette || m_model == PixelModel::Cmyk || count == 0 || !kinds || m_samples <= m_colors)
        return;
    if (kinds[0] != EXTRASAMPLE_ASSOCALPHA && kinds[0] != EXTRASAMPLE_UNASSALPHA)
        return;
    m_alphaMultiplied = kinds[0] == EXTRASAMPLE_ASSOCALPHA;
    m_model = m_model == PixelModel::Gray ? PixelModel::GrayAlpha : PixelModel::RgbAlpha;
}

int TiffLayout::sampleAt(const std::uint8_t* row, std::size_t index) const
{
    if (m_depth == 8)
        return row[index];
    if (m_depth == 16) {
        std::uint16_t sample = 0; // libtiff has put it into this machine's order
        std::memcpy(&sample, row + index * 2, sizeof sample);
        return static_cast<int>((sample * 255U + 32895U) >> 16);
    }
    std::size_t bit = index * m_depth;
    int largest = (1 << m_depth) - 1;
    int sample = row[bit / 8] >> (8 - m_depth - static_cast<int>(bit % 8)) & largest;
    return m_palette ? sample : sample * 255 / largest;
}

void TiffLayout::expand(const std::uint8_t* row, int width, std::uint8_t* pixels) const
{
    int channels = channelsOf(m_model);
    bool alpha = hasAlpha(m_model);
    for (int x = 0; x < width; ++x, pixels += channels) {
        std::size_t first = static_cast<std::size_t>(x) * m_samples;
        if (m_palette) {
            std::memcpy(pixels, m_table[static_cast<std::size_t>(sampleAt(row, first))].data(), 3);
            continue;
        }
        int opacity = alpha ? sampleAt(row, first + m_colors) : 255;
        for (int c = 0; c < m_colors; ++c) {
            int value = sampleAt(row, first + c);
            if (m_inverted)
                value = 255 - value;
            if (m_alphaMultiplied)
                value = opacity ? std::min(255, (value * 255 + opacity / 2) / opacity) : 0;
            pixels[c] = static_cast<std::uint8_t>(value);
        }
        if (alpha)
            pixels[m_colors] = static_cast<std::uint8_t>(opacity);
    }
}

} // namespace mv
