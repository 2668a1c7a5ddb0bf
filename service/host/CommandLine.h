#pragma once

#include "Base/Core/NSLog.h"
#include "arguments/Program.h"

#include <chrono>
#include <optional>
#include <span>
#include <variant>

namespace mv {

/// The exit statuses of the service's program.
inline constexpr int ExitDone = 0; ///< it was asked to quit, or what was asked for is printed
inline constexpr int ExitNotPublished
    = 1; ///< a name is taken, there is no bus, or no room; or nothing could be printed
inline constexpr int ExitMisuse = 2;

/// The service's program as its help and its manual describe it.
Program serviceProgram();

struct ServiceSettings {
    /// The service leaves when nothing has gone on for so long; zero for never. Nothing where the command line does not
    /// say.
    std::optional<std::chrono::seconds> idleExit;
    std::optional<LogPriority> logLevel;
    /// Somebody called one of the names, says who starts the service.
    bool onDemand = false;
};

/// What the words behind the program's name mean: settings, or, where `--help` and `--version` were answered on
/// standard output and misuse with a sentence on standard error, the exit status.
std::variant<ServiceSettings, int> readCommandLine(std::span<char* const> words);

} // namespace mv
