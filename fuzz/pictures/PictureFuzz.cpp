#include "Base/Core/NSLog.h"
#include "fuzz/pictures/Dav1dLeaks.h"
#include "fuzz/pictures/ReaderFuzz.h"
#include "service/image/NSImageExtension.h"

// A picture of any format: its pages, its thumbnails with and without the source pixel.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const bool quiet = (mv::setLogSink([](std::string_view) {}), true);
    (void)quiet;
    auto image = mv::NSImage::initWithData(mv::Bytes(data, data + size));
    if (!image)
        return 0;
    const mv::NSImageRep& first = *image->representations().front();
    if (std::int64_t { first.pixelsWide() } * first.pixelsHigh() > mv::fuzz::MaxPixels)
        return 0;
    (void)image->bestRepresentationForDevice();
    (void)makeThumbnailForContentCategory(*image, mv::ThumbnailCategoryAlbumArt);
    (void)makeThumbnailForContentCategoryWithMaxSize(*image, mv::ThumbnailCategoryPicture, { 30, 30 });
    auto quick = mv::NSImage::initWithData(mv::Bytes(data, data + size), mv::Drawing::Quick);
    for (int side : { 10, 60, 200 })
        (void)quick->representations().front()->scaledTo(side, side);
    return 0;
}
