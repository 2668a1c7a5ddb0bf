#include "pictures/LzwDecoder.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

constexpr std::size_t InputBytes = 16u << 10;
constexpr std::size_t OutputBytes = 32u << 10;

} // namespace

LzwDecoder::LzwDecoder(const ByteSource& source, std::uint64_t offset)
    : m_source(source)
    , m_offset(offset + 1)
    // A string may begin on the last free place.
    , m_output(OutputBytes + MaxCodes)
{
    std::uint8_t bits = 0;
    source.readUpTo(offset, { &bits, 1 });
    m_minimumBits = bits;
    // 8 bits are the most indices; up to 11 leave room for one more bit, and such files exist.
    m_ended = m_minimumBits < 1 || m_minimumBits >= MaxBits;
    if (m_ended)
        return;
    m_clearCode = 1 << m_minimumBits;
    for (int code = 0; code < m_clearCode; code++) {
        std::uint8_t index = static_cast<std::uint8_t>(code);
        m_entries[static_cast<std::size_t>(code)] = { 0, 1, index, index };
    }
    clear();
}

void LzwDecoder::clear()
{
    m_bits = m_minimumBits + 1;
    m_nextEntry = static_cast<std::size_t>(m_clearCode) + 2;
    m_previous = NoCode;
}

/// Takes the lengths out of as many sub-blocks as there are in one read.
bool LzwDecoder::fillInput()
{
    m_input.resize(InputBytes);
    m_input.resize(m_source.readUpTo(m_offset, m_input));
    std::size_t from = 0;
    std::size_t to = 0;
    while (from < m_input.size() && m_input[from] != 0) {
        std::size_t length = m_input[from];
        std::size_t there = std::min(length, m_input.size() - from - 1);
        // A block that the read cut off comes again, unless the file is cut off there itself.
        if (there < length && from > 0)
            break;
        std::memmove(&m_input[to], &m_input[from] + 1, there);
        from += there + 1;
        to += there;
    }
    m_offset += from;
    m_input.resize(to);
    m_inputUsed = 0;
    return to > 0;
}

int LzwDecoder::nextCode()
{
    while (m_poolBits < m_bits) {
        if (m_inputUsed == m_input.size() && !fillInput())
            return NoCode;
        m_pool |= std::uint64_t { m_input[m_inputUsed++] } << m_poolBits;
        m_poolBits += 8;
    }
    int code = static_cast<int>(m_pool & ((1U << m_bits) - 1));
    m_pool >>= m_bits;
    m_poolBits -= m_bits;
    return code;
}

/// Appends the string of a code to the output; false for a code that cannot be.
bool LzwDecoder::expand(int code)
{
    std::size_t entry = static_cast<std::size_t>(code);
    if (m_previous == NoCode) {
        if (code >= m_clearCode)
            return false;
    } else {
        if (entry > m_nextEntry || entry == MaxCodes)
            return false;
        const Entry& before = m_entries[static_cast<std::size_t>(m_previous)];
        // A code that is about to be made repeats the first index of the string before it.
        std::uint8_t last = entry == m_nextEntry ? before.first : m_entries[entry].first;
        if (m_nextEntry < MaxCodes) {
            m_entries[m_nextEntry++] = { static_cast<std::uint16_t>(m_previous),
                static_cast<std::uint16_t>(before.length + 1), before.first, last };
            if (m_nextEntry == std::size_t { 1 } << m_bits && m_bits < MaxBits)
                m_bits++;
        }
    }
    m_previous = code;
    std::size_t length = m_entries[entry].length;
    std::uint8_t* place = &m_output[m_outputFilled + length];
    for (std::size_t i = 0; i < length; i++) {
        *--place = m_entries[entry].last;
        entry = m_entries[entry].prefix;
    }
    m_outputFilled += length;
    return true;
}

bool LzwDecoder::fillOutput()
{
    m_outputUsed = m_outputFilled = 0;
    while (!m_ended && m_outputFilled < OutputBytes) {
        int code = nextCode();
        if (code == m_clearCode)
            clear();
        else
            m_ended = code == NoCode || code == m_clearCode + 1 || !expand(code);
    }
    return m_outputFilled > 0;
}

std::size_t LzwDecoder::read(std::uint8_t* target, std::size_t count)
{
    std::size_t done = 0;
    while (done < count && (m_outputUsed < m_outputFilled || fillOutput())) {
        std::size_t part = std::min(count - done, m_outputFilled - m_outputUsed);
        std::memcpy(target + done, &m_output[m_outputUsed], part);
        m_outputUsed += part;
        done += part;
    }
    return done;
}

} // namespace mv
