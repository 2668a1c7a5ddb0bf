#include "cli/UprightThumbnail.h"

#include "cli/PictureDecoding.h"
#include "pictures/Canvas.h"

namespace mv::cli {

Result<std::optional<Bytes>> makeTurnedThumbnail(
    ServiceBus& bus, const Path& path, FloatSize maximum, Orientation orientation)
{
    if (orientation.swapsSides)
        std::swap(maximum.width, maximum.height);
    MV_TRY(answer, resultOf([&] { return ImageClient(bus).makeThumbnailWithMaxSize(path, maximum); }));
    if (!answer)
        return std::optional<Bytes> {};
    const Bytes* tiff = answer->data(kThumbnailData);
    if (!tiff)
        return Error { Error::Kind::Format, "the answer has no picture" };
    if (orientation == Orientation {})
        return std::optional(*tiff);
    MV_TRY(stored, bitmapOf(*tiff));
    Bitmap bitmap = turned(std::move(stored), orientation);
    auto canvas = Canvas::create(bitmap.width, bitmap.height);
    if (!canvas)
        return std::optional<Bytes> {};
    canvas->draw(bitmap, 0, 0);
    return std::optional(std::move(*canvas).tiffRepresentation());
}

} // namespace mv::cli
