#pragma once

#include "pictures/jpeg/JpegParts.h"

#include <array>
#include <cstddef>

namespace mv {

/// Turns the coefficients of a block into fewer samples than the block has pixels: `across` x `down` of them, 1 to 8
/// each. A single sample is the block's mean; otherwise the low frequencies that so many samples can hold are
/// transformed back, which keeps them unharmed where averaging would dampen them.
class JpegBlockScaler {
public:
    JpegBlockScaler() = default;
    /// `plainEdges`: of two samples across and down, the coefficient of their diagonals counts as 0.
    JpegBlockScaler(int across, int down, const JpegTables::QuantTable& quant, bool plainEdges = false);

    int across() const { return m_across; }
    int down() const { return m_down; }
    /// The last place in zigzag order that matters.
    int lastPlace() const { return m_lastPlace; }

    /// The coefficients of one block, multiplied out, rows of 8; behind them a place for those that do not matter.
    using Block = std::array<float, JpegBlockCoefficients + 1>;
    void clear(Block& block) const { std::fill_n(block.begin(), m_down * JpegBlockSide, 0.0F); }
    /// Takes places past the end of a block too, as damaged data have them. True for a coefficient that matters.
    bool set(Block& block, int place, int coefficient) const
    {
        const Slot& slot = m_slots[static_cast<std::size_t>(place)];
        block[slot.index] = static_cast<float>(coefficient) * slot.factor;
        return coefficient != 0 && slot.index < JpegBlockCoefficients;
    }
    /// The sample that stands for a whole block of this mean, rounded as libjpeg rounds it.
    std::uint8_t mean(int coefficient) const
    {
        int value = ((coefficient * m_meanQuant + 4) >> 3) + 128;
        return static_cast<std::uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
    }
    /// `last`: the last place in zigzag order that was set.
    void scale(const Block& block, int last, std::uint8_t* to, std::size_t stride) const;

private:
    template <int Lanes, int Across, int Down>
    void scaleIn(const Block& block, int diagonal, std::uint8_t* to, std::size_t stride) const;

    int m_across = 1;
    int m_down = 1;
    int m_lastPlace = 0;
    int m_meanQuant = 1;
    struct Slot {
        float factor = 0;
        std::uint32_t index = JpegBlockCoefficients;
    };
    std::array<Slot, 2 * JpegBlockCoefficients> m_slots {}; ///< by place in zigzag order
    // [frequency][sample]; rows of 8, so that a row is a vector.
    alignas(32) std::array<std::array<float, JpegBlockSide>, JpegBlockSide> m_columns {};
    std::array<std::array<float, JpegBlockSide>, JpegBlockSide> m_rows {};
};

} // namespace mv
