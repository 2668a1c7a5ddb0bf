#include "pictures/jpeg/JpegBitReader.h"

#include "pictures/jpeg/JpegMarkerWalk.h"

#include <algorithm>

namespace mv {

namespace {

constexpr std::size_t WindowBytes = 32u << 10;

std::uint64_t load64(const std::uint8_t* from)
{
    std::uint64_t value = 0;
    std::memcpy(&value, from, sizeof value);
    return std::endian::native == std::endian::little ? __builtin_bswap64(value) : value;
}

bool hasFF(std::uint64_t value)
{
    constexpr std::uint64_t Ones = 0x0101010101010101;
    return ((~value - Ones) & value & (Ones << 7)) != 0;
}

} // namespace

JpegBitReader::JpegBitReader(const ByteSource& source, std::uint64_t offset)
    : m_source(source)
    , m_window(WindowBytes)
    , m_base(offset)
{
}

/// True when `count` bytes lie ready in the window, or as many as the file has left, at least one.
bool JpegBitReader::makeReady(std::size_t count)
{
    if (m_end - m_next >= count)
        return true;
    if (!m_fileEnded) {
        std::memmove(m_window.data(), m_window.data() + m_next, m_end - m_next);
        m_base += m_next;
        m_end -= m_next;
        m_next = 0;
        std::size_t came = m_source.readUpTo(m_base + m_end, { m_window.data() + m_end, m_window.size() - m_end });
        m_end += came;
        m_fileEnded = came == 0;
    }
    return m_next < m_end;
}

JpegBitReader::Pool JpegBitReader::refilled(std::uint64_t poolBits, int poolCount)
{
    Pool pool { poolBits, poolCount };
    if (m_end - m_next < 8)
        return refilledByBytes(pool);
    std::uint64_t bytes = load64(&m_window[m_next]);
    if (hasFF(bytes))
        return refilledByBytes(pool);
    int whole = (64 - pool.count) / 8;
    if (whole < 8)
        bytes &= ~(~std::uint64_t {} >> (whole * 8));
    pool.bits |= bytes >> pool.count;
    pool.count += whole * 8;
    m_next += static_cast<std::size_t>(whole);
    return pool;
}

JpegBitReader::Pool JpegBitReader::refilledByBytes(Pool pool)
{
    while (pool.count <= 56) {
        std::uint64_t byte = 0;
        if (m_atMarker || !makeReady(2)) {
            // Enough to be seen; it must not grow for ever in a picture whose data are missing.
            m_madeUp = std::min(m_madeUp + 8, 1 << 20);
        } else {
            byte = m_window[m_next];
            std::size_t length = 1;
            if (byte == 0xFF && m_next + 1 < m_end) {
                length = 2;
                int code = m_window[m_next + 1];
                if (code == 0xFF) { // fill bytes before a marker
                    ++m_next;
                    continue;
                }
                if (code != 0) {
                    m_atMarker = true;
                    m_isLast = !jpeg_marker::isRestart(code);
                    continue;
                }
            }
            m_next += length;
        }
        pool.bits |= byte << (56 - pool.count);
        pool.count += 8;
    }
    return pool;
}

/// Stands on the 0xFF of the next marker and tells its code; -1 at the end.
int JpegBitReader::findMarker()
{
    while (makeReady(2) && m_end - m_next >= 2) {
        if (m_window[m_next] == 0xFF && m_window[m_next + 1] != 0 && m_window[m_next + 1] != 0xFF)
            return m_window[m_next + 1];
        ++m_next;
    }
    return -1;
}

bool JpegBitReader::restart(int number)
{
    m_pool = {};
    m_madeUp = 0;
    for (;;) {
        int code = findMarker();
        int ahead = code - jpeg_marker::Restart0 - number;
        m_atMarker = true;
        if (code < 0 || !jpeg_marker::isRestart(code)) {
            m_isLast = true;
            m_madeUp = 8; // dry from the start
            return false;
        }
        // The one or two numbers after this one: it is missing, and its data with it.
        if ((ahead & 7) == 1 || (ahead & 7) == 2) {
            m_madeUp = 8;
            return false;
        }
        m_next += 2;
        m_atMarker = false;
        // The one or two before it: passed already.
        if ((ahead & 7) < 6)
            return true;
    }
}

} // namespace mv
