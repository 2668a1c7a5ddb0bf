#include "platform/graphics/LzwDecoder.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

constexpr std::size_t WindowBytes = 16u << 10;

} // namespace

LzwDecoder::LzwDecoder(const PictureSource& source, std::uint64_t offset)
    : m_source(source)
    , m_offset(offset)
    , m_window(WindowBytes)
{
    m_minimumBits = fillWindow() ? m_window[m_used++] : 0;
    // 8 bits are the most indices; up to 11 leave room for one more bit, and such files exist.
    m_ended = m_minimumBits < 1 || m_minimumBits >= MaxBits;
    if (m_ended)
        return;
    m_clearCode = 1 << m_minimumBits;
    for (int code = 0; code < m_clearCode; code++) {
        m_last[static_cast<std::size_t>(code)] = m_first[static_cast<std::size_t>(code)]
            = static_cast<std::uint8_t>(code);
        m_length[static_cast<std::size_t>(code)] = 1;
    }
    clear();
}

void LzwDecoder::clear()
{
    m_bits = m_minimumBits + 1;
    m_nextEntry = m_clearCode + 2;
    m_previous = NoCode;
}

bool LzwDecoder::fillWindow()
{
    m_offset += m_filled;
    m_used = 0;
    m_filled = m_source.readAt(m_offset, m_window);
    return m_filled > 0;
}

/// A byte of the sub-blocks' content, or -1.
int LzwDecoder::nextByte()
{
    if (m_blockLeft == 0) {
        if (m_used == m_filled && !fillWindow())
            return -1;
        m_blockLeft = m_window[m_used++];
        if (m_blockLeft == 0)
            return -1;
    }
    if (m_used == m_filled && !fillWindow())
        return -1;
    m_blockLeft--;
    return m_window[m_used++];
}

int LzwDecoder::nextCode()
{
    while (m_poolBits < m_bits) {
        int byte = nextByte();
        if (byte < 0)
            return NoCode;
        m_pool |= static_cast<std::uint32_t>(byte) << m_poolBits;
        m_poolBits += 8;
    }
    int code = static_cast<int>(m_pool & ((1U << m_bits) - 1));
    m_pool >>= m_bits;
    m_poolBits -= m_bits;
    return code;
}

void LzwDecoder::addEntry(int prefix, std::uint8_t last)
{
    if (m_nextEntry >= MaxCodes)
        return;
    std::size_t entry = static_cast<std::size_t>(m_nextEntry++);
    std::size_t from = static_cast<std::size_t>(prefix);
    m_prefix[entry] = static_cast<std::uint16_t>(prefix);
    m_last[entry] = last;
    m_first[entry] = m_first[from];
    m_length[entry] = static_cast<std::uint16_t>(m_length[from] + 1);
    if (m_nextEntry == 1 << m_bits && m_bits < MaxBits)
        m_bits++;
}

/// Puts the string of the code at hand; false for a code that cannot be.
bool LzwDecoder::expand(int code)
{
    if (m_previous != NoCode) {
        if (code > m_nextEntry || (code == m_nextEntry && m_nextEntry >= MaxCodes))
            return false;
        // A code that is about to be made repeats the first index of the string before it.
        int known = code == m_nextEntry ? m_previous : code;
        addEntry(m_previous, m_first[static_cast<std::size_t>(known)]);
    } else if (code >= m_clearCode) {
        return false;
    }
    m_previous = code;
    m_stringLength = m_length[static_cast<std::size_t>(code)];
    m_stringUsed = 0;
    for (std::size_t place = m_stringLength, entry = static_cast<std::size_t>(code); place-- > 0;) {
        m_string[place] = m_last[entry];
        entry = m_prefix[entry];
    }
    return true;
}

std::size_t LzwDecoder::read(std::uint8_t* target, std::size_t count)
{
    std::size_t done = 0;
    while (done < count) {
        if (m_stringUsed == m_stringLength) {
            int code = m_ended ? NoCode : nextCode();
            if (code == m_clearCode && !m_ended) {
                clear();
                continue;
            }
            if (code == NoCode || code == m_clearCode + 1 || !expand(code)) {
                m_ended = true;
                m_stringUsed = m_stringLength = 0;
                break;
            }
        }
        std::size_t part = std::min(count - done, m_stringLength - m_stringUsed);
        std::memcpy(target + done, &m_string[m_stringUsed], part);
        m_stringUsed += part;
        done += part;
    }
    return done;
}

} // namespace mv
