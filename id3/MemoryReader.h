#pragma once

#include "Base/Core/Bytes.h"

#include <algorithm>
#include <cstring>
#include <id3/reader.h>

namespace mv {

// id3lib's reader has no virtual destructor; no reader is ever deleted through it.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// id3lib's view of bytes in memory, which outlive it.
class MemoryReader final : public ID3_Reader {
public:
    explicit MemoryReader(ByteView bytes)
        : m_bytes(bytes)
    {
    }
    void close() override { }
    pos_type getEnd() override { return static_cast<pos_type>(m_bytes.size()); }
    pos_type getCur() override { return m_position; }
    pos_type setCur(pos_type position) override { return m_position = std::min(position, getEnd()); }
    int_type readChar() override { return atEnd() ? END_OF_READER : m_bytes[m_position++]; }
    int_type peekChar() override { return atEnd() ? END_OF_READER : m_bytes[m_position]; }
    using ID3_Reader::readChars;
    size_type readChars(char_type target[], size_type count) override
    {
        count = std::min(count, getEnd() - m_position);
        if (count > 0)
            std::memcpy(target, m_bytes.data() + m_position, count);
        m_position += count;
        return count;
    }
    size_type skipChars(size_type count) override
    {
        count = std::min(count, getEnd() - m_position);
        m_position += count;
        return count;
    }

private:
    ByteView m_bytes;
    pos_type m_position = 0;
};

#pragma GCC diagnostic pop

} // namespace mv
