#include "pictures/BmpRle.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

constexpr std::size_t WindowBytes = 16u << 10;

enum Escape { EndOfLine = 0, EndOfBitmap = 1, Delta = 2 };

} // namespace

BmpRle::BmpRle(const ByteSource& source, const BmpHeader& header)
    : m_source(source)
    , m_header(header)
    , m_offset(header.dataOffset)
    , m_window(WindowBytes)
    , m_row(static_cast<std::size_t>(header.picture.width) * 3)
{
}

void BmpRle::decode(RowSink& sink)
{
    while (m_y < m_header.picture.height && step(sink)) { }
    if (m_rowTouched && m_y < m_header.picture.height)
        finishRow(sink);
}

int BmpRle::nextByte()
{
    if (m_used == m_filled) {
        m_offset += m_filled;
        m_used = 0;
        m_filled = m_source.readUpTo(m_offset, m_window);
        if (m_filled == 0)
            return -1;
    }
    return m_window[m_used++];
}

void BmpRle::put(int index)
{
    if (m_x >= m_header.picture.width)
        return;
    std::memcpy(
        &m_row[static_cast<std::size_t>(m_x++) * 3], m_header.colors[static_cast<std::size_t>(index)].data(), 3);
    m_rowTouched = true;
}

void BmpRle::finishRow(RowSink& sink)
{
    int y = m_header.topDown ? m_y : m_header.picture.height - 1 - m_y;
    sink.scatter(y, 0, 1, m_row.data(), m_header.picture.width);
    std::fill(m_row.begin(), m_row.end(), std::uint8_t { 0 });
    m_rowTouched = false;
}

/// One run or escape; false at the end.
bool BmpRle::step(RowSink& sink)
{
    int count = nextByte();
    int value = nextByte();
    if (count < 0 || value < 0)
        return false;
    if (count == 0)
        return escape(value, sink);
    for (int i = 0; i < count; ++i) {
        if (m_header.coding == BmpCoding::Rle8)
            put(value);
        else
            put(i % 2 ? value & 0x0F : value >> 4);
    }
    return true;
}

bool BmpRle::escape(int code, RowSink& sink)
{
    if (code > Delta)
        return literal(code);
    if (code == EndOfBitmap)
        return false;
    int right = 0;
    int up = 1;
    if (code == Delta) {
        right = nextByte();
        up = nextByte();
        if (right < 0 || up < 0)
            return false;
        m_x = std::min(m_x + right, m_header.picture.width);
    } else {
        m_x = 0;
    }
    if (up > 0) {
        finishRow(sink);
        m_y += up;
    }
    return true;
}

/// Pixels one by one, filled up to an even number of bytes.
bool BmpRle::literal(int count)
{
    int byte = 0;
    int bytes = m_header.coding == BmpCoding::Rle8 ? count : (count + 1) / 2;
    for (int i = 0; i < count; ++i) {
        bool fresh = m_header.coding == BmpCoding::Rle8 || i % 2 == 0;
        if (fresh)
            byte = nextByte();
        if (byte < 0)
            return false;
        if (m_header.coding == BmpCoding::Rle8)
            put(byte);
        else
            put(i % 2 ? byte & 0x0F : byte >> 4);
    }
    return bytes % 2 == 0 || nextByte() >= 0;
}

} // namespace mv
