#include "cli/UprightThumbnail.h"

#include "cli/PictureDecoding.h"
#include "pictures/Canvas.h"

namespace mv::cli {

Result<std::optional<Bytes>> makeTurnedThumbnail(
    ServiceBus& bus, const Path& path, FloatSize maximum, Orientation orientation)
{
    if (orientation.swapsSides)
        std::swap(maximum.width, maximum.height);
    MV_TRY(answer, ImageClient(bus).makeThumbnail(path, maximum));
    if (!answer)
        return std::optional<Bytes> {};
    if (orientation == Orientation {})
        return std::optional(std::move(answer->tiff));
    MV_TRY(stored, bitmapOf(answer->tiff));
    Bitmap bitmap = turned(std::move(stored), orientation);
    auto canvas = Canvas::create(bitmap.width, bitmap.height);
    if (!canvas)
        return std::optional<Bytes> {};
    canvas->draw(bitmap, 0, 0);
    return std::optional(std::move(*canvas).tiffRepresentation());
}

} // namespace mv::cli
