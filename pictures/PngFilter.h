#pragma once

#include <cstddef>
#include <cstdint>

namespace mv {

/// How many bytes behind a row must be readable (they do not matter).
inline constexpr std::size_t PngFilterSlack = 8;

/// Undoes one row's PNG filter in place. `above` is the row before (zeros for the first one), `distance` the bytes to
/// the left neighbour. Both rows are followed by PngFilterSlack bytes. False for a filter that does not exist.
bool undoPngFilter(int filter, std::uint8_t* row, const std::uint8_t* above, std::size_t count, std::size_t distance);

} // namespace mv
