#pragma once

#include "Base/Core/Result.h"

#include <cstdint>

namespace mv {

/// What a closed process may use. Its parent may change them later (prlimit); it may not itself.
struct Limits {
    std::uint64_t memoryBytes = 0; ///< data, stacks of threads included; what libraries map does not count
    std::uint64_t cpuSeconds = 0; ///< SIGXCPU ends the process then; its parent can give more
    std::uint64_t descriptors = 32; ///< open at once
    std::uint64_t fileBytes = 0; ///< longest file that it can write, until its parent allows more: 0 for nothing
};

/// Sets them, none above what the process was given, and that nothing is left of a crash and nothing locked in memory.
/// A write beyond the length of a file is an error then, not a signal.
Result<void> applyLimits(const Limits& limits);

} // namespace mv
