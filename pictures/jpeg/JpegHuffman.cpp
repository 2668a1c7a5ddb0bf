#include "pictures/jpeg/JpegHuffman.h"

#include <algorithm>

namespace mv {

namespace {

constexpr int MaxCodeLength = 16;
constexpr int LargeLeapBits = 13;
constexpr int SixteenZeros = 0xF0;

} // namespace

Result<JpegHuffman> JpegHuffman::make(ByteView counts, ByteView symbols)
{
    JpegHuffman table;
    MV_TRY_VOID(table.setCodes(counts, symbols));
    return table;
}

Result<JpegHuffman> JpegHuffman::makeForDetails(ByteView counts, ByteView symbols, bool large)
{
    MV_TRY(table, make(counts, symbols));
    table.m_leapBits = large ? LargeLeapBits : CodeBits;
    table.setSteps();
    table.setLeaps();
    return table;
}

Result<void> JpegHuffman::setCodes(ByteView counts, ByteView symbols)
{
    if (counts.size() != MaxCodeLength || symbols.size() > m_symbols.size())
        return Error { Error::Kind::Format, "a Huffman table of a wrong size" };
    std::copy(symbols.begin(), symbols.end(), m_symbols.begin());
    std::int32_t code = 0;
    std::size_t used = 0;
    for (int length = 1; length <= MaxCodeLength; ++length) {
        std::size_t count = counts[static_cast<std::size_t>(length - 1)];
        std::int32_t width = 1 << (MaxCodeLength - length);
        if (used + count > symbols.size() || code + static_cast<std::int32_t>(count) * width > 1 << MaxCodeLength)
            return Error { Error::Kind::Format, "a Huffman table of too many codes" };
        std::size_t l = static_cast<std::size_t>(length);
        m_firstCode[l] = code;
        m_firstSymbol[l] = static_cast<std::int32_t>(used);
        for (std::size_t i = 0; i < count; ++i, code += width) {
            std::uint8_t symbol = m_symbols[used++];
            if (length > CodeBits)
                continue;
            int shift = MaxCodeLength - CodeBits;
            std::fill_n(m_codes.begin() + (code >> shift), width >> shift, codeOf(length, symbol));
        }
        m_endCode[l] = code;
    }
    return {};
}

JpegHuffman::Code JpegHuffman::codeOf(int length, std::uint8_t symbol)
{
    int advance = (symbol & 15) > 0 || symbol == SixteenZeros ? (symbol >> 4) + 1 : EndOfBlock;
    return { static_cast<std::uint8_t>(length), symbol, static_cast<std::uint8_t>(advance),
        static_cast<std::uint8_t>(length + (symbol & 15)) };
}

JpegHuffman::Code JpegHuffman::longCode(unsigned bits) const
{
    std::int32_t next = static_cast<std::int32_t>(bits);
    for (std::size_t length = CodeBits + 1; length <= MaxCodeLength; ++length) {
        if (next < m_endCode[length]) {
            std::int32_t index = (next - m_firstCode[length]) >> (MaxCodeLength - static_cast<int>(length));
            return codeOf(static_cast<int>(length), m_symbols[static_cast<std::size_t>(m_firstSymbol[length] + index)]);
        }
    }
    return codeOf(MaxCodeLength, 0);
}

void JpegHuffman::setSteps()
{
    for (unsigned bits = 0; bits < m_steps.size(); ++bits) {
        Code code = m_codes[bits];
        if (code.length == 0 || code.total > CodeBits)
            continue;
        JpegBitReader::Pool number { std::uint64_t { bits } << (64 - CodeBits), CodeBits };
        number.drop(code.length);
        m_steps[bits] = { static_cast<std::int16_t>(number.signedNumber(code.symbol & 15)), code.advance, code.total };
    }
}

/// Only the codes need to be among the looked-at bits; the bits of the last number may lie behind them.
JpegHuffman::Leap JpegHuffman::leapOf(unsigned bits) const
{
    int taken = 0;
    int places = 0;
    unsigned end = 0;
    while (taken < m_leapBits && end == 0) {
        unsigned left = bits << (taken + 16 - m_leapBits) & 0xFFFF;
        Code code = m_codes[left >> (16 - CodeBits)];
        if (code.length == 0 || code.length > m_leapBits - taken)
            break;
        end = code.advance == EndOfBlock ? LeapEnds : 0;
        int advance = end ? 1 : code.advance;
        if (places + advance > 63 + (end ? 1 : 0))
            break;
        taken += end ? code.length : code.total;
        places += advance;
    }
    return taken == 0
        ? NoLeap
        : static_cast<Leap>(static_cast<unsigned>(taken) | end | static_cast<unsigned>(places) << LeapPlacesShift);
}

void JpegHuffman::setLeaps()
{
    m_leaps.resize(std::size_t { 1 } << m_leapBits);
    for (unsigned bits = 0; bits < m_leaps.size(); ++bits)
        m_leaps[bits] = leapOf(bits);
}

void JpegHuffman::skip(JpegBitReader& bits, JpegBitReader::Pool& given, int place) const
{
    JpegBitReader::Pool pool = given;
    const Leap* leaps = m_leaps.data();
    const int leapBits = m_leapBits;
    while (place < 64) {
        bits.refill(pool);
        unsigned leap = leaps[pool.peek(leapBits)];
        int behind = place + static_cast<int>(leap >> LeapPlacesShift);
        // A leap must not reach into the next block, whose codes mean something else.
        if (behind > 64) {
            place += step(pool).advance;
            continue;
        }
        pool.drop(static_cast<int>(leap & LeapBitsMask));
        // The end is behind every place.
        place = behind | static_cast<int>(leap & LeapEnds);
    }
    given = pool;
}

} // namespace mv
