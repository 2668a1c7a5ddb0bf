#pragma once

#include <algorithm>
#include <array>

namespace mv::cli {

/// How a command ended, as scripts see it.
enum class ExitStatus : int {
    Done = 0,
    SomeFailed = 1,
    Misuse = 2,
    NoService = 3,
    Interrupted = 130, // what a shell says of a program that Ctrl-C ended
};

struct ExitStatusRow {
    ExitStatus status;
    const char* meaning;
};

/// The whole list, as the help shows it.
inline constexpr std::array ExitStatuses {
    ExitStatusRow { ExitStatus::Done, "done" },
    ExitStatusRow { ExitStatus::SomeFailed, "something failed; each failed file is named on standard error" },
    ExitStatusRow { ExitStatus::Misuse, "the command line is wrong; nothing was done" },
    ExitStatusRow { ExitStatus::NoService, "the service does not run and cannot be started" },
    ExitStatusRow { ExitStatus::Interrupted, "interrupted by Ctrl-C" },
};

/// What a command ends with that met both: the rows' later one.
constexpr ExitStatus worse(ExitStatus one, ExitStatus other) { return std::max(one, other); }

} // namespace mv::cli
