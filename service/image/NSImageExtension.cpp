#include "service/image/NSImageExtension.h"

#include "Base/Core/NSException.h"
#include "Base/Core/NSLog.h"
#include "pictures/Canvas.h"
#include "service/image/ThumbnailGeometry.h"

namespace mv {

namespace {

/// A colour that cannot be had leaves the drawing context's own, which is black.
NSColor fillColor(const NSImageRep& source, int category)
{
    if (category == ThumbnailCategoryPicture)
        return NSColor::white();
    if (category == ThumbnailCategoryAlbumArt) {
        auto corner = source.colorAtXY(1, 1);
        return corner ? *corner : NSColor::black();
    }
    return NSColor::black();
}

std::optional<Bytes> render(const NSImageRep& source, int category, const ThumbnailGeometry& geometry)
{
    // First, as its limit bounds what is allocated for the picture too: that is as large at most, or as thin as the
    // source.
    auto canvas = Canvas::create(geometry.canvasWidth, geometry.canvasHeight);
    if (!canvas) {
        NSLog("Could not render image");
        return std::nullopt;
    }
    // Scaled first: on its way it often finds the pixel that the fill needs.
    auto scaled = source.scaledTo(geometry.width, geometry.height);
    if (!scaled)
        return std::nullopt;
    canvas->fill(fillColor(source, category));
    canvas->draw(*scaled, geometry.x, geometry.y);
    return std::move(*canvas).tiffRepresentation();
}

std::optional<Bytes> makeThumbnail(const NSImage& image, int category, FloatSize maximum)
{
    if (image.representations().empty() || !image.representations().front())
        return std::nullopt;
    const NSImageRep& source = *image.representations().front();
    int width = source.pixelsWide();
    int height = source.pixelsHigh();
    if (width < 1 || height < 1)
        return std::nullopt;
    ThumbnailGeometry geometry = thumbnailGeometry(width, height, category, maximum);
    if (geometry.canvasWidth == 0 || geometry.canvasHeight == 0)
        return std::nullopt;
    return render(source, category, geometry);
}

} // namespace

std::optional<Bytes> makeThumbnailForContentCategory(const NSImage& image, int category)
{
    return makeThumbnailForContentCategoryWithMaxSize(image, category, defaultThumbnailMaximum(category));
}

std::optional<Bytes> makeThumbnailForContentCategoryWithMaxSize(const NSImage& image, int category, FloatSize maximum)
{
    try {
        return makeThumbnail(image, category, maximum);
    } catch (const NSException& exception) {
        NSLog("makeThumbnailWithMaxSize Exception : %s", exception.reason().c_str());
        return std::nullopt;
    }
}

} // namespace mv
