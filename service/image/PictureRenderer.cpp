#include "service/image/PictureRenderer.h"

#include "Base/Core/Text.h"
#include "Base/Media/TiffForm.h"
#include "platform/NSImage.h"
#include "service/image/NSImageExtension.h"

#include <algorithm>

namespace mv {

namespace {

/// A representation that shows another one turned.
class TurnedImageRep final : public ImageRep {
public:
    TurnedImageRep(std::shared_ptr<ImageRep> stored, Orientation orientation)
        : m_stored(std::move(stored))
        , m_orientation(orientation)
    {
    }

    int pixelsWide() const override
    {
        return m_orientation.swapsSides ? m_stored->pixelsHigh() : m_stored->pixelsWide();
    }
    int pixelsHigh() const override
    {
        return m_orientation.swapsSides ? m_stored->pixelsWide() : m_stored->pixelsHigh();
    }
    Result<Color> colorAtXY(int x, int y) const override
    {
        // Past an edge means the edge, which a mirror would make another one.
        x = std::min(x, pixelsWide() - 1);
        y = std::min(y, pixelsHigh() - 1);
        x = m_orientation.mirrorsX ? pixelsWide() - 1 - x : x;
        y = m_orientation.mirrorsY ? pixelsHigh() - 1 - y : y;
        return m_orientation.swapsSides ? m_stored->colorAtXY(y, x) : m_stored->colorAtXY(x, y);
    }
    Result<Bitmap> scaledTo(int width, int height) const override
    {
        if (m_orientation.swapsSides)
            std::swap(width, height);
        MV_TRY(bitmap, m_stored->scaledTo(width, height));
        return turned(std::move(bitmap), m_orientation);
    }

private:
    std::shared_ptr<ImageRep> m_stored;
    Orientation m_orientation;
};

std::optional<Record> rowsOf(const TiffPixels& whole, int firstRow)
{
    if (firstRow < 0 || firstRow >= whole.height)
        return std::nullopt;
    std::size_t rowBytes = static_cast<std::size_t>(whole.width) * TiffPixelBytes;
    int rows = renderedRows(whole.width, whole.height, firstRow);
    ByteView pixels = whole.pixels.subspan(
        static_cast<std::size_t>(firstRow) * rowBytes, static_cast<std::size_t>(rows) * rowBytes);
    return Record { { kRenderedRows, tiffOfPixels({ whole.width, rows, pixels }) },
        { kRenderedHeight, std::int32_t { whole.height } } };
}

std::optional<Record> ownPixels(const NSImage& image, int firstRow)
{
    auto picture = image.bestRepresentationForDevice();
    std::int64_t width = picture ? picture->pixelsWide() : 0;
    std::int64_t height = picture ? picture->pixelsHigh() : 0;
    if (width < 1 || height < 1 || width > MaxTiffPixels / height)
        return std::nullopt;
    auto bitmap = picture->scaledTo(static_cast<int>(width), static_cast<int>(height));
    if (!bitmap)
        return Record { { kRenderingProblem, cleanedUtf8(bitmap.error().text) } };
    return rowsOf({ bitmap->width, bitmap->height, bitmap->pixels }, firstRow);
}

std::optional<Record> thumbnailRows(const NSImage& stored, const PictureRendering& rendering)
{
    NSImage image(std::make_shared<TurnedImageRep>(stored.representations().front(), rendering.orientation));
    auto tiff = rendering.maximum
        ? makeThumbnailForContentCategoryWithMaxSize(image, rendering.category, *rendering.maximum)
        : makeThumbnailForContentCategory(image, rendering.category);
    auto pixels = tiff ? pixelsOfTiff(*tiff) : std::nullopt;
    return pixels ? rowsOf(*pixels, rendering.firstRow) : std::nullopt;
}

} // namespace

std::optional<Record> renderPicture(const OpenedFile& file, const PictureRendering& rendering)
{
    auto image = NSImage::initWithContentsOfFile(file);
    if (!image)
        return std::nullopt;
    return rendering.category == 0 ? ownPixels(*image, rendering.firstRow) : thumbnailRows(*image, rendering);
}

} // namespace mv
