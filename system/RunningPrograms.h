#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mv {

/// The ids of all processes; empty when they cannot be known.
std::vector<std::int32_t> runningProcesses();

/// True when a process of this user and this session runs the program, a binary or a script. The session is the one
/// whose message bus the environment of either names. A process that has ended and waits for its parent does not run.
bool isProgramRunning(const std::string& executable);

} // namespace mv
