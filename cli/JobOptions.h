#pragma once

#include "arguments/Arguments.h"

namespace mv::cli {

// Options that several commands have.
inline constexpr Option AsStoredOption { "as-stored", nullptr,
    "do not turn pictures upright that say how they are to be turned" };
inline constexpr Option ForceOption { "force", nullptr, "replace an output that is there already" };
inline constexpr Option NoClobberOption { "no-clobber", nullptr, "skip an output that is there already" };
inline constexpr Option NoTagsOption { "no-tags", nullptr, "leave out the tags and the cover of the source" };

} // namespace mv::cli
