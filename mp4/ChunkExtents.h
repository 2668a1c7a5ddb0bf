#pragma once

#include "mp4/Box.h"

#include <functional>

namespace mv {

/// Where the samples of a chunk lie in the file, by its track's tables.
struct ChunkExtent {
    std::uint64_t begin = 0;
    std::uint64_t end = 0; ///< saturates
};

/// True when `test` is of any chunk; it is asked in turn about those of every track whose media are in this file. The
/// movie box is in memory. Chunks that no sample is said to be in are empty.
bool anyChunk(ByteView movieBox, const std::function<bool(const ChunkExtent&)>& test);

} // namespace mv
