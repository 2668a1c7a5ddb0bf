#pragma once

#include "system/ByteSource.h"

namespace mv {

/// Walks over the bytes of a JPEG through a window, from marker to marker. The source must outlive it.
class JpegMarkerWalk {
public:
    explicit JpegMarkerWalk(const ByteSource& source);

    std::uint64_t position() const { return m_base + m_used; }
    void seek(std::uint64_t position);
    /// The next byte, or -1 at the end.
    int next();
    /// The next two bytes as a big-endian number, or -1.
    int next16();
    /// The marker at or after this place, stuffed bytes and restarts passed over; -1 at the end. The place is then
    /// behind the marker.
    int nextMarker();
    /// The content of the segment whose marker was just passed, without its length; the place is then behind it.
    Result<Bytes> segment();

private:
    bool fill();
    bool findFF();

    const ByteSource& m_source;
    Bytes m_window;
    std::uint64_t m_base = 0;
    std::size_t m_used = 0;
    std::size_t m_filled = 0;
};

/// The markers that are read.
namespace jpeg_marker {
inline constexpr int StartOfImage = 0xD8;
inline constexpr int EndOfImage = 0xD9;
inline constexpr int StartOfScan = 0xDA;
inline constexpr int QuantTables = 0xDB;
inline constexpr int RestartInterval = 0xDD;
inline constexpr int HuffmanTables = 0xC4;
inline constexpr int Restart0 = 0xD0;

constexpr bool isRestart(int marker) { return marker >= Restart0 && marker <= Restart0 + 7; }
constexpr bool isStandalone(int marker) { return marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8); }
constexpr bool isFrame(int marker)
{
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}
constexpr bool isProgressiveFrame(int marker) { return isFrame(marker) && (marker & 3) == 2; }
} // namespace jpeg_marker

} // namespace mv
