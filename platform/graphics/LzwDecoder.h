#pragma once

#include "platform/graphics/PictureSource.h"

#include <array>

namespace mv {

/// The compressed pixels of one GIF frame, as colour indices. Damage and the end both end the indices.
class LzwDecoder {
public:
    /// `offset`: of the byte that tells the number of bits.
    LzwDecoder(const PictureSource& source, std::uint64_t offset);

    /// How many indices there were, at most `count`.
    std::size_t read(std::uint8_t* target, std::size_t count);

private:
    static constexpr int MaxBits = 12;
    static constexpr int MaxCodes = 1 << MaxBits;
    static constexpr int NoCode = -1;

    void clear();
    int nextCode();
    int nextByte();
    bool fillWindow();
    bool expand(int code);
    void addEntry(int prefix, std::uint8_t last);

    const PictureSource& m_source;
    std::uint64_t m_offset;
    Bytes m_window;
    std::size_t m_used = 0;
    std::size_t m_filled = 0;
    std::size_t m_blockLeft = 0;

    int m_minimumBits = 0;
    int m_clearCode = 0;
    int m_bits = 0;
    int m_nextEntry = 0;
    int m_previous = NoCode;
    std::uint32_t m_pool = 0;
    int m_poolBits = 0;
    bool m_ended = false;

    std::array<std::uint16_t, MaxCodes> m_prefix {};
    std::array<std::uint8_t, MaxCodes> m_last {};
    std::array<std::uint8_t, MaxCodes> m_first {};
    std::array<std::uint16_t, MaxCodes> m_length {};
    std::array<std::uint8_t, MaxCodes + 1> m_string {}; ///< of the code at hand
    std::size_t m_stringUsed = 0;
    std::size_t m_stringLength = 0;
};

} // namespace mv
