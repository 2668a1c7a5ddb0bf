#pragma once

#include "system/ByteSource.h"

#include <array>

namespace mv {

/// The compressed pixels of one GIF frame, as colour indices. Damage and the end both end the indices.
class LzwDecoder {
public:
    /// `offset`: of the byte that tells the number of bits.
    LzwDecoder(const ByteSource& source, std::uint64_t offset);

    /// How many indices there were, at most `count`.
    std::size_t read(std::uint8_t* target, std::size_t count);

private:
    static constexpr int MaxBits = 12;
    static constexpr std::size_t MaxCodes = std::size_t { 1 } << MaxBits;
    static constexpr int NoCode = -1;

    struct Entry {
        std::uint16_t prefix = 0; ///< the code of the string without its last index
        std::uint16_t length = 0;
        std::uint8_t first = 0;
        std::uint8_t last = 0;
    };

    void clear();
    int nextCode();
    bool fillInput();
    bool fillOutput();
    bool expand(int code);

    const ByteSource& m_source;
    std::uint64_t m_offset; ///< of the next sub-block
    Bytes m_input; ///< the content of some sub-blocks
    std::size_t m_inputUsed = 0;
    std::uint64_t m_pool = 0;
    int m_poolBits = 0;

    int m_clearCode = 0;
    int m_minimumBits = 0;
    int m_bits = 0;
    std::size_t m_nextEntry = 0;
    int m_previous = NoCode;
    bool m_ended = false;
    std::array<Entry, MaxCodes> m_entries {};

    Bytes m_output;
    std::size_t m_outputUsed = 0;
    std::size_t m_outputFilled = 0;
};

} // namespace mv
