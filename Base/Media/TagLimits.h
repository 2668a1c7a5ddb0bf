#pragma once

#include <cstddef>

namespace mv {

/// Bytes of a file's tags that are read and written at most: its ID3v2 tags together, or the metadata list of an MPEG-4
/// file. Pictures are bounded by this alone. The largest picture that a call can bring (64 MiB, an array on the bus)
/// fits, with as much again as songs have besides; what is read is held twice at most. Other programs read as much, and
/// more: the ID3v2 format ends at 256 MiB.
inline constexpr std::size_t MaxTagBytes = std::size_t { 96 } << 20;

} // namespace mv
