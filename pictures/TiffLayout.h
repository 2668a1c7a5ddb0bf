#pragma once

#include "Base/Core/Bytes.h"
#include "pictures/PixelRows.h"

#include <array>
#include <optional>
#include <tiffio.h>

namespace mv {

/// How the samples of a page that is read row by row are to be understood.
class TiffLayout {
public:
    /// Nothing for a page that only libtiff's own conversion understands. Sets the page up so that compressed YCbCr
    /// comes as colours.
    static std::optional<TiffLayout> of(TIFF* tiff);

    PixelModel model() const { return m_model; }
    /// Makes 8-bit pixels of `width` samples groups as libtiff delivers them.
    void expand(const std::uint8_t* row, int width, std::uint8_t* pixels) const;
    std::size_t rowBytes(int width) const { return (static_cast<std::size_t>(width) * m_samples * m_depth + 7) / 8; }

private:
    bool readShape(TIFF* tiff);
    bool readModel(TIFF* tiff, int photometric);
    bool readPalette(TIFF* tiff);
    void readAlpha(TIFF* tiff);
    int sampleAt(const std::uint8_t* row, std::size_t index) const;

    PixelModel m_model = PixelModel::Rgb;
    int m_depth = 8;
    int m_samples = 3; ///< a pixel in the file
    int m_colors = 3; ///< of them, without alpha and others
    bool m_palette = false;
    bool m_inverted = false; ///< 0 is white, or no ink
    bool m_alphaMultiplied = false;
    std::array<std::array<std::uint8_t, 3>, 256> m_table {};
};

} // namespace mv
