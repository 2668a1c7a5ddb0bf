#pragma once

#include "bus/QueuedName.h"

#include <chrono>
#include <span>
#include <string_view>

namespace mv {

/// The name that is asked for before all others by a process that was started on demand, and given up behind them. Bus
/// names have a dot.
inline constexpr const char* HostLockName = "Mivo.MediaTools.Host";

enum class StartDecision {
    Publish, ///< the lock is ours and nobody has any of the names
    AlreadyServed, ///< another has all of them: whoever asked for a start has been served
    Held, ///< some have been held all along, and nobody comes to have all; the log says by whom
};

struct StartNames {
    std::span<const std::string_view> needed; ///< nobody serves a part of them
    std::span<const std::string_view> more = {}; ///< which a process does without where a stranger has them
};

struct StartPatience {
    /// For whoever has the lock to have published, or to leave.
    std::chrono::milliseconds lock { 20'000 };
    /// With the lock, for one who starts or leaves without it: both takes milliseconds.
    std::chrono::milliseconds names { 2'000 };
};

/// Decides for a process that was started on demand. A bus starts as many as it has names to be answered, all at the
/// same moment, and the first has them all.
StartDecision decideStart(QueuedName& lock, const StartNames& names, const StartPatience& patience = {});

} // namespace mv
