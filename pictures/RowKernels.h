#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace mv {

/// The inner loops of shrinking, in the widest vectors that the processor has; the results are the same to the bit in
/// all of them.

/// to[i] = sum over k of weights[k] * rows[k][i]. `to` lies apart from the rows.
void sumWeightedRows(const std::vector<const float*>& rows, const float* weights, float* to, std::size_t samples);
void rowToFloats(const std::uint8_t* from, float* to, std::size_t samples);

} // namespace mv
