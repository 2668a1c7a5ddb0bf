#pragma once

#include <cstddef>
#include <cstdint>

namespace mv {

/// Undoes one row's PNG filter in place. `above` is the row before (zeros for the first one), `distance` the bytes to
/// the left neighbour. False for a filter that does not exist.
bool undoPngFilter(int filter, std::uint8_t* row, const std::uint8_t* above, std::size_t count, std::size_t distance);

} // namespace mv
