#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Result.h"
#include "pictures/jpeg/JpegBitReader.h"

#include <array>
#include <vector>

namespace mv {

/// A Huffman table of a JPEG, made for looking at only the first coefficients of a block: what follows them is passed
/// over several codes at a time.
class JpegHuffman {
public:
    /// `counts`: how many codes there are of each length 1 to 16; `symbols`: one for each code. An error for what is
    /// no complete or partial code tree.
    static Result<JpegHuffman> make(ByteView counts, ByteView symbols);
    /// The same for detail coefficients, with what step() and skip() need. `large`: for pictures of many blocks, where
    /// larger tables are worth their making.
    static Result<JpegHuffman> makeForDetails(ByteView counts, ByteView symbols, bool large);

    /// The next symbol, of bits that are ready; 0 where the bits are no code, as damaged data have it.
    int symbol(JpegBitReader::Pool& pool) const
    {
        Code code = nextCode(pool);
        pool.drop(code.length);
        return code.symbol;
    }

    /// A coefficient or several zeros: `advance` places on, the last of which holds `value`. Never 0; the end of the
    /// block advances past any place.
    struct Step {
        int value = 0;
        int advance = 0;
    };
    static constexpr int EndOfBlock = 64;
    Step step(JpegBitReader::Pool& pool) const
    {
        ShortStep known = m_steps[pool.peek(CodeBits)];
        if (known.bits > 0) {
            pool.drop(known.bits);
            return { known.value, known.advance };
        }
        Code code = nextCode(pool);
        JpegBitReader::Pool number = pool;
        number.drop(code.length);
        pool.drop(code.total);
        return { number.signedNumber(code.symbol & 15), code.advance };
    }

    /// Passes over the rest of a block, whose next coefficient stands at `place` in zigzag order.
    void skip(JpegBitReader& bits, JpegBitReader::Pool& pool, int place) const;

private:
    static constexpr int CodeBits = 10;
    struct Code {
        std::uint8_t length = 0; ///< 0: longer than CodeBits, or none
        std::uint8_t symbol = 0;
        std::uint8_t advance = 0;
        std::uint8_t total = 0; ///< length and the number's bits
    };
    /// A step whose code and number are both among the looked-at bits.
    struct ShortStep {
        std::int16_t value = 0;
        std::uint8_t advance = 0;
        std::uint8_t bits = 0; ///< 0: they are longer
    };
    /// As many steps as the looked-at bits have the codes of, in one number: the bits that are passed over (6 bits),
    /// LeapEnds where the block ends there, and how many places must be left (8 bits).
    using Leap = std::uint16_t;
    static constexpr unsigned LeapBitsMask = 63;
    static constexpr unsigned LeapEnds = 128;
    static constexpr int LeapPlacesShift = 8;
    static constexpr Leap NoLeap = 255 << LeapPlacesShift;

    static Code codeOf(int length, std::uint8_t symbol);
    Code nextCode(const JpegBitReader::Pool& pool) const
    {
        Code code = m_codes[pool.peek(CodeBits)];
        return code.length > 0 ? code : longCode(pool.peek(16));
    }
    Code longCode(unsigned bits) const;
    Result<void> setCodes(ByteView counts, ByteView symbols);
    void setSteps();
    void setLeaps();
    Leap leapOf(unsigned bits) const;

    std::array<Code, 1 << CodeBits> m_codes {};
    std::array<ShortStep, 1 << CodeBits> m_steps {};
    std::vector<Leap> m_leaps;
    int m_leapBits = CodeBits;
    std::array<std::int32_t, 17> m_firstCode {}; ///< of each length, aligned to 16 bits
    std::array<std::int32_t, 17> m_endCode {};
    std::array<std::int32_t, 17> m_firstSymbol {};
    std::array<std::uint8_t, 256> m_symbols {};
};

} // namespace mv
