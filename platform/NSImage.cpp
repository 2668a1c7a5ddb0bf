#include "platform/NSImage.h"

#include "pictures/PictureImageRep.h"

#include <algorithm>

namespace mv {

namespace {

std::optional<NSImage> imageOf(const SharedSource& source, Drawing drawing)
{
    auto readers = openPictures(source, drawing);
    if (!readers || readers->empty())
        return std::nullopt;
    NSImage image;
    for (auto& reader : *readers)
        image.addRepresentation(std::make_shared<PictureImageRep>(std::move(reader), drawing));
    return image;
}

std::int64_t pixelCount(const NSImageRep& representation)
{
    return std::int64_t { representation.pixelsWide() } * representation.pixelsHigh();
}

} // namespace

std::shared_ptr<NSImageRep> NSImage::imageRepWithContentsOfFile(const OpenedFile& file)
{
    auto image = initWithContentsOfFile(file);
    return image ? image->representations().front() : nullptr;
}

std::optional<NSImage> NSImage::initWithData(Bytes data, Drawing drawing)
{
    return imageOf(sourceOfBytes(std::move(data)), drawing);
}

std::optional<NSImage> NSImage::initWithContentsOfFile(const OpenedFile& file, Drawing drawing)
{
    return file.content().ok() ? imageOf(*file.content(), drawing) : std::nullopt;
}

std::shared_ptr<NSImageRep> NSImage::bestRepresentationForDevice() const
{
    std::shared_ptr<NSImageRep> best;
    for (const auto& candidate : m_representations) {
        if (candidate && (!best || pixelCount(*candidate) > pixelCount(*best)))
            best = candidate;
    }
    return best;
}

} // namespace mv
