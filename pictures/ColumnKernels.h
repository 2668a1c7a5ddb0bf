#pragma once

#include "pictures/LanczosTaps.h"
#include "pictures/PixelRows.h"

#include <cstdint>
#include <vector>

namespace mv {

/// Makes the target's pixels of a row of weighted sums, by weights across: with the widest vectors that the processor
/// has, and the same to the bit with all of them.
class ColumnKernels {
public:
    ColumnKernels() = default;
    /// `taps`: one for each pixel of the target.
    ColumnKernels(const LanczosTaps& taps, int width, PixelModel model);

    /// How many floats behind a row of sums are read, whatever they are.
    static constexpr std::size_t Slack = 4;

    /// `to` has room for the pixels of the model, Rgb for Ycc, and for nothing more. Colours with alpha are multiplied
    /// by it in `sums`, and not in the pixels.
    void shrink(const float* sums, std::uint8_t* to) const;

private:
    struct Pixel {
        int first = 0;
        int count = 0;
    };

    PixelModel m_model = PixelModel::Rgb;
    std::vector<Pixel> m_pixels;
    std::size_t m_stride = 0; ///< floats a pixel in `m_weights`
    std::vector<float> m_weights; ///< each four times, as a vector wants it
};

} // namespace mv
