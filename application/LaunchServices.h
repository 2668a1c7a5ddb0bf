#pragma once

#include "system/FSRef.h"

namespace mv {

/// What LSOpenApplication is asked for; the version is 0, and the flags are 1 for a default launch.
struct LSApplicationParameters {
    std::int32_t version = 0;
    std::uint32_t flags = 1;
    FSRef application;
};

/// Starts an application detached: in a session of its own, not a child of this process, with no inherited
/// descriptors. One that this user runs in this session already is left at that; callers at the same time start one. An
/// application `X.app` is an executable file, or a folder that holds an executable `X` or
/// `Contents/MacOS/X`. 0 once it runs, else a negative status (fnfErr: nothing executable there).
OSStatus LSOpenApplication(const LSApplicationParameters& parameters);

} // namespace mv
