#include "platform/graphics/JpegOutline.h"

#include "platform/graphics/JpegDecompressor.h"

#include <cstring>

namespace mv {

namespace {

constexpr std::size_t WindowBytes = 64u << 10;
// What may stand before the frame header: whole Exif, profile and maker segments, but not gigabytes of them.
constexpr int MaxHeaderMarkers = 10'000;

constexpr int StartOfScan = 0xDA;
constexpr int EndOfImage = 0xD9;

bool isStandalone(int marker) { return marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8); }
bool isFrame(int marker)
{
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}
bool isProgressiveFrame(int marker) { return marker == 0xC2 || marker == 0xC6 || marker == 0xCA || marker == 0xCE; }

/// Walks over the file through a window.
class MarkerWalk {
public:
    explicit MarkerWalk(const PictureSource& source)
        : m_source(source)
        , m_window(WindowBytes)
    {
    }

    std::uint64_t position() const { return m_base + m_used; }
    void seek(std::uint64_t position)
    {
        if (position >= m_base && position <= m_base + m_filled) {
            m_used = static_cast<std::size_t>(position - m_base);
            return;
        }
        m_base = position;
        m_used = m_filled = 0;
    }
    /// The next byte, or -1 at the end.
    int next()
    {
        if (m_used == m_filled && !fill())
            return -1;
        return m_window[m_used++];
    }
    int next16()
    {
        int high = next();
        int low = next();
        return high < 0 || low < 0 ? -1 : high << 8 | low;
    }
    /// The marker at or after this place, stuffed bytes and restarts passed over; -1 at the end. The place is then
    /// behind the marker.
    int nextMarker()
    {
        for (;;) {
            if (!findFF())
                return -1;
            int code = next();
            while (code == 0xFF)
                code = next();
            if (code < 0 || (code != 0 && !(code >= 0xD0 && code <= 0xD7)))
                return code;
        }
    }

private:
    bool fill()
    {
        m_base += m_filled;
        m_used = 0;
        m_filled = m_source.readAt(m_base, m_window);
        return m_filled > 0;
    }
    /// Passes an 0xFF byte.
    bool findFF()
    {
        do {
            const void* found = std::memchr(m_window.data() + m_used, 0xFF, m_filled - m_used);
            if (found) {
                m_used = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - m_window.data()) + 1;
                return true;
            }
            m_used = m_filled;
        } while (fill());
        return false;
    }

    const PictureSource& m_source;
    Bytes m_window;
    std::uint64_t m_base = 0;
    std::size_t m_used = 0;
    std::size_t m_filled = 0;
};

/// Reads the scan's header and passes its data; the walk stands behind the header's marker.
JpegScan readScan(MarkerWalk& walk)
{
    JpegScan scan;
    scan.offset = walk.position() - 2;
    walk.next16();
    scan.componentCount = walk.next();
    scan.componentId = walk.next();
    for (int i = 1; i < scan.componentCount * 2; i++)
        walk.next();
    scan.spectralStart = walk.next();
    int marker = walk.nextMarker();
    scan.length = walk.position() - (marker < 0 ? 0 : 2) - scan.offset;
    if (marker >= 0)
        walk.seek(walk.position() - 2);
    return scan;
}

} // namespace

Result<JpegOutline> outlineOfJpeg(const PictureSource& source)
{
    JpegOutline outline;
    MarkerWalk walk(source);
    walk.seek(2);
    for (int count = 0; count < MaxHeaderMarkers; count++) {
        int marker = walk.nextMarker();
        if (marker < 0 || marker == EndOfImage)
            break;
        if (isStandalone(marker))
            continue;
        if (marker == StartOfScan) {
            if (!outline.progressive)
                break;
            outline.scans.push_back(readScan(walk));
            if (outline.scans.size() > static_cast<std::size_t>(MaxJpegScans))
                return Error { Error::Kind::Limit, "too many scans" };
            continue;
        }
        std::uint64_t segment = walk.position();
        int length = walk.next16();
        if (isFrame(marker) && outline.frameOffset == 0) {
            outline.frameOffset = segment - 2;
            outline.progressive = isProgressiveFrame(marker);
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
