#include "pictures/jpeg/JpegMarkerWalk.h"

#include <cstring>

namespace mv {

namespace {

constexpr std::size_t WindowBytes = 64u << 10;

} // namespace

JpegMarkerWalk::JpegMarkerWalk(const ByteSource& source)
    : m_source(source)
    , m_window(WindowBytes)
{
}

void JpegMarkerWalk::seek(std::uint64_t position)
{
    if (position >= m_base && position <= m_base + m_filled) {
        m_used = static_cast<std::size_t>(position - m_base);
        return;
    }
    m_base = position;
    m_used = m_filled = 0;
}

int JpegMarkerWalk::next()
{
    if (m_used == m_filled && !fill())
        return -1;
    return m_window[m_used++];
}

int JpegMarkerWalk::next16()
{
    int high = next();
    int low = next();
    return high < 0 || low < 0 ? -1 : high << 8 | low;
}

int JpegMarkerWalk::nextMarker()
{
    for (;;) {
        if (!findFF())
            return -1;
        int code = next();
        while (code == 0xFF)
            code = next();
        if (code < 0 || (code != 0 && !jpeg_marker::isRestart(code)))
            return code;
    }
}

Result<Bytes> JpegMarkerWalk::segment()
{
    int length = next16();
    if (length < 2)
        return Error { Error::Kind::Format, "a JPEG segment without a length" };
    MV_TRY(content, m_source.bytesAt(position(), static_cast<std::uint64_t>(length) - 2));
    seek(position() + content.size());
    return content;
}

bool JpegMarkerWalk::fill()
{
    m_base += m_filled;
    m_used = 0;
    m_filled = m_source.readUpTo(m_base, m_window);
    return m_filled > 0;
}

/// Passes an 0xFF byte.
bool JpegMarkerWalk::findFF()
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

} // namespace mv
