#pragma once

#include "arguments/Arguments.h"

#include <cstddef>
#include <cstdint>
#include <thread>

namespace mv::cli {

/// How the machine's cores are shared out to a command's files: together never more than there are.
struct CoreShares {
    std::size_t jobs = 1; ///< files at once
    std::uint32_t cores = 0; ///< that each may use; 0 for those that are free when its turn comes

    bool operator==(const CoreShares&) const = default;
};

/// By --jobs and --cores, for so many files. One file may use as many as --cores says; of several at once each has its
/// share, which --cores only makes smaller. Where --cores stands alone, so many files are done at once as there is room
/// for.
CoreShares coreShares(
    const Arguments& arguments, std::size_t files, unsigned machine = std::thread::hardware_concurrency());

} // namespace mv::cli
