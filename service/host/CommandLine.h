#pragma once

#include <optional>
#include <span>

namespace mv {

/// The exit statuses of the service's program.
inline constexpr int ExitDone = 0; ///< it was asked to quit, or what was asked for is printed
inline constexpr int ExitNotPublished = 1; ///< a name is taken, there is no bus, or no room; or nothing could be printed
inline constexpr int ExitMisuse = 2;

/// Answers `--help` and `--version` on standard output, and everything else that stands behind the program's name with
/// a sentence on standard error. The exit status; nothing when there is nothing to answer and the services are meant.
std::optional<int> answerCommandLine(std::span<char* const> words);

} // namespace mv
