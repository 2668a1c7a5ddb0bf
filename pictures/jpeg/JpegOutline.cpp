#include "pictures/jpeg/JpegOutline.h"

#include "pictures/jpeg/JpegDecompressor.h"
#include "pictures/jpeg/JpegMarkerWalk.h"

namespace mv {

namespace {

// What may stand before the frame header: whole Exif, profile and maker segments, but not gigabytes of them.
constexpr int MaxHeaderMarkers = 10'000;

} // namespace

Result<JpegOutline> outlineOfJpeg(const ByteSource& source)
{
    JpegOutline outline;
    int scans = 0;
    JpegMarkerWalk walk(source);
    walk.seek(2);
    for (int count = 0; count < MaxHeaderMarkers; ++count) {
        int marker = walk.nextMarker();
        if (marker < 0 || marker == jpeg_marker::EndOfImage)
            break;
        if (jpeg_marker::isStandalone(marker))
            continue;
        if (marker == jpeg_marker::StartOfScan) {
            if (!outline.progressive)
                break;
            if (++scans > MaxJpegScans)
                return Error { Error::Kind::Limit, "too many scans" };
        }
        std::uint64_t segment = walk.position();
        int length = walk.next16();
        if (jpeg_marker::isFrame(marker) && outline.frameOffset == 0) {
            outline.frameOffset = segment - 2;
            outline.progressive = jpeg_marker::isProgressiveFrame(marker);
            if (!outline.progressive)
                break;
        }
        if (length < 2)
            break;
        walk.seek(segment + static_cast<std::uint64_t>(length));
    }
    if (outline.frameOffset == 0)
        return Error { Error::Kind::Format, "a JPEG without a frame" };
    return outline;
}

} // namespace mv
