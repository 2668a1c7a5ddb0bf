#include "cli/PictureDecoding.h"

#include "service/image/NSImageExtension.h"

namespace mv::cli {

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

} // namespace

Result<Bitmap> bitmapOf(const Bytes& picture)
{
    auto image = NSImage::initWithData(picture);
    auto representation = image ? image->bestRepresentationForDevice() : nullptr;
    if (!representation || representation->pixelsWide() < 1 || representation->pixelsHigh() < 1)
        return Error { Error::Kind::Format, "is no picture that can be read" };
    return representation->scaledTo(representation->pixelsWide(), representation->pixelsHigh());
}

std::optional<PictureSize> sizeOfPicture(const Bytes& picture)
{
    auto image = NSImage::initWithData(picture);
    auto best = image ? image->bestRepresentationForDevice() : nullptr;
    if (!best)
        return std::nullopt;
    return PictureSize { best->pixelsWide(), best->pixelsHigh() };
}

std::optional<Bytes> thumbnailOfFile(
    const Path& path, int category, std::optional<FloatSize> maximum, Orientation orientation)
{
    auto stored = NSImage::imageRepWithContentsOfFile(OpenedFile::at(path));
    if (!stored)
        return std::nullopt;
    NSImage image(std::make_shared<TurnedImageRep>(std::move(stored), orientation));
    if (maximum)
        return makeThumbnailForContentCategoryWithMaxSize(image, category, *maximum);
    return makeThumbnailForContentCategory(image, category);
}

} // namespace mv::cli
