#pragma once

#include "Base/Core/Bytes.h"

namespace mv {

/// Bits from the most significant one on; zeros behind the end, which failed() tells.
class BitReader {
public:
    explicit BitReader(ByteView bytes)
        : m_bytes(bytes)
    {
    }

    unsigned take(unsigned count)
    {
        unsigned value = 0;
        for (; count > 0; --count, ++m_position) {
            bool isInside = m_position / 8 < m_bytes.size();
            unsigned bit = isInside ? m_bytes[m_position / 8] >> (7 - m_position % 8) & 1 : 0;
            value = value << 1 | bit;
        }
        return value;
    }
    void skip(std::size_t count) { m_position += count; }
    std::size_t position() const { return m_position; }
    bool failed() const { return m_position > m_bytes.size() * 8; }

private:
    ByteView m_bytes;
    std::size_t m_position = 0;
};

} // namespace mv
