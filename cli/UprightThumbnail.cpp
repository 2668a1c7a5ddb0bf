#include "cli/UprightThumbnail.h"

#include "cli/PictureDecoding.h"

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
    MV_TRY(stored, bitmapOfTiff(*tiff));
    return tiffOf(turned(std::move(stored), orientation));
}

} // namespace mv::cli
