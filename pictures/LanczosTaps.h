#pragma once

#include <cstddef>
#include <vector>

namespace mv {

/// The weights that make one output row (or column) out of input rows, for a whole axis. Lanczos with three lobes, or
/// two, widened by the ratio when shrinking; sample k stands for the interval k to k + 1, so that output and input
/// share their outer edges. Beyond a border the outermost sample goes on. Weights sum to 1.
class LanczosTaps {
public:
    LanczosTaps() = default;
    /// `ratio`: input samples per output sample, which need not be inputCount / outputCount exactly.
    LanczosTaps(int inputCount, double ratio, int outputCount, int lobes = 3);

    int first(int output) const { return m_first[static_cast<std::size_t>(output)]; }
    int count(int output) const { return m_count[static_cast<std::size_t>(output)]; }
    const float* weights(int output) const { return &m_weights[static_cast<std::size_t>(output) * m_stride]; }
    /// The largest count().
    int maxCount() const { return m_maxCount; }

private:
    void setRow(int output, int inputCount, double ratio, int lobes);

    std::vector<int> m_first;
    std::vector<int> m_count;
    std::vector<float> m_weights;
    std::size_t m_stride = 0;
    int m_maxCount = 0;
};

} // namespace mv
