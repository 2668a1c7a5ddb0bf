#pragma once

#include "sandbox/Landlock.h"
#include "sandbox/Sandbox.h"

#include <functional>
#include <string>

namespace mv::test {

/// How a child of a test ended.
struct ChildEnd {
    int exitCode = -1; ///< -1 where a signal ended it
    int signal = 0;
};

/// Which locks a child closes behind itself. The first is what the product does; the others show that each holds.
enum class Locks { All, FilterAlone, LandlockAlone };

inline constexpr int CouldNotClose = 99; ///< exit code of a child that has no locks

/// Limits that are out of the way of everything but a test of them.
inline constexpr Limits WideLimits {
    .memoryBytes = 1u << 30, .cpuSeconds = 20, .descriptors = 64, .fileBytes = 1 << 20
};

/// Runs `work` in a closed child of this process; what it returns is the child's exit code.
ChildEnd inClosedChild(Locks locks, const std::function<int()>& work, const Limits& limits = WideLimits);
/// Runs it in a child that closes by itself.
ChildEnd inChild(const std::function<int()>& work);

} // namespace mv::test
