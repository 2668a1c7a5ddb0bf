#pragma once

#include "arguments/Arguments.h"

namespace mv::cli {

// Options that several commands have.
inline constexpr Option AsStoredOption { "as-stored", nullptr,
    "do not turn pictures upright that say how they are to be turned" };
inline constexpr Option ForceOption { "force", nullptr, "replace an output that is there already" };
inline constexpr Option NoClobberOption { "no-clobber", nullptr, "skip an output that is there already" };
inline constexpr Option NoTagsOption { "no-tags", nullptr, "leave out the tags and the cover of the source" };

inline constexpr Option JobsOption { "jobs", "N",
    "how many files at once, 1 to 64 (default: as many as there are cores)", 0, numberFrom(1, 64) };
inline constexpr Option CoresOption { "cores", "N",
    "how many cores one file may use, 1 to 16 (default: those that are free)", 0, numberFrom(1, 16) };
inline constexpr Option MirrorOption { "mirror", nullptr,
    "make the folder DESTINATION a copy of SOURCE: only what changed" };
inline constexpr Option DeleteOption { "delete", nullptr, "with --mirror: remove what SOURCE has no more" };

} // namespace mv::cli
