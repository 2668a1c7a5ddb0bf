#include "pictures/PictureImageRep.h"

#include "pictures/ColorConversion.h"
#include "pictures/Resampler.h"

#include <algorithm>

namespace mv {

namespace {

/// Remembers one pixel of an unreduced raster on its way to another sink, if there is one.
class PixelPick final : public RowSink {
public:
    PixelPick(int x, int y, const PictureHeader& header, RowSink* next)
        : m_x(std::clamp(x, 0, header.width - 1))
        , m_y(std::clamp(y, 0, header.height - 1))
        , m_header(header)
        , m_next(next)
    {
    }

    bool begin(const RowLayout& layout) override
    {
        m_layout = layout;
        m_unreduced = layout.width == m_header.width && layout.height == m_header.height;
        return m_next ? m_next->begin(layout) : m_unreduced;
    }
    bool row(const std::uint8_t* pixels) override
    {
        if (m_rowsTaken++ == m_y && m_unreduced)
            take(pixels + static_cast<std::ptrdiff_t>(m_x) * channelsOf(m_layout.model));
        return m_next ? m_next->row(pixels) : !m_color;
    }
    void scatter(int y, int x, int step, const std::uint8_t* pixels, int count) override
    {
        int index = (m_x - x) / step;
        if (y == m_y && m_unreduced && m_x >= x && index < count && x + index * step == m_x)
            take(pixels + static_cast<std::ptrdiff_t>(index) * channelsOf(m_layout.model));
        if (m_next)
            m_next->scatter(y, x, step, pixels, count);
    }

    std::optional<Color> color() const { return m_color; }

private:
    void take(const std::uint8_t* pixel)
    {
        Bytes rgba
            = toSrgb({ pixel, static_cast<std::size_t>(channelsOf(m_layout.model)) }, m_layout.model, m_header.profile);
        m_color = Color { rgba[0], rgba[1], rgba[2], rgba[3] };
    }

    int m_x;
    int m_y;
    const PictureHeader& m_header;
    RowSink* m_next;
    RowLayout m_layout;
    bool m_unreduced = false;
    int m_rowsTaken = 0;
    std::optional<Color> m_color;
};

} // namespace

Result<Color> PictureImageRep::colorAtXY(int x, int y) const
{
    if (x == 1 && y == 1 && m_corner)
        return *m_corner;
    PixelPick pick(x, y, m_reader->header(), nullptr);
    MV_TRY_VOID(m_reader->decodeTop(std::clamp(y, 0, pixelsHigh() - 1), pick));
    if (!pick.color())
        return Error { Error::Kind::Format, "the pixel could not be decoded" };
    return *pick.color();
}

/// A quick drawing of more than half the picture is made of pixels that nothing has softened before.
int PictureImageRep::lobesFor(int width, int height) const
{
    bool isLarge = 2 * std::int64_t { width } > pixelsWide() && width < pixelsWide() && height < pixelsHigh();
    return m_drawing == Drawing::Quick && isLarge ? 2 : 3;
}

Result<Bitmap> PictureImageRep::scaledTo(int width, int height) const
{
    Resampler resampler(width, height, lobesFor(width, height));
    PixelPick pick(1, 1, m_reader->header(), &resampler);
    MV_TRY_VOID(m_reader->decode(width, height, pick));
    MV_TRY(pixels, resampler.finish());
    m_corner = pick.color();
    return Bitmap { width, height, toSrgb(pixels, resampler.model(), m_reader->header().profile) };
}

} // namespace mv
