#include "platform/NSBitmapImageRep.h"

#include "pictures/Resampler.h"

#include <algorithm>

namespace mv {

Result<NSColor> NSBitmapImageRep::colorAtXY(int x, int y) const
{
    if (m_bitmap.width < 1 || m_bitmap.height < 1)
        return Error { Error::Kind::Format, "an empty bitmap has no colours" };
    x = std::clamp(x, 0, m_bitmap.width - 1);
    y = std::clamp(y, 0, m_bitmap.height - 1);
    const std::uint8_t* pixel = &m_bitmap.pixels[(static_cast<std::size_t>(y) * m_bitmap.width + x) * 4];
    return NSColor { pixel[0], pixel[1], pixel[2], pixel[3] };
}

Result<Bitmap> NSBitmapImageRep::scaledTo(int width, int height) const
{
    Resampler resampler(width, height);
    if (!resampler.begin({ m_bitmap.width, m_bitmap.height, PixelModel::RgbAlpha }))
        return Error { Error::Kind::Format, "an empty bitmap cannot be drawn" };
    std::size_t stride = static_cast<std::size_t>(m_bitmap.width) * 4;
    for (int y = 0; y < m_bitmap.height; ++y)
        resampler.row(&m_bitmap.pixels[stride * y]);
    MV_TRY(pixels, resampler.finish());
    return Bitmap { width, height, std::move(pixels) };
}

} // namespace mv
