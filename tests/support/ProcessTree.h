#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace mv::test {

/// The processes that this one has started and not yet waited for, zombies included.
std::vector<pid_t> childrenOf(pid_t process);
bool isZombie(pid_t process);
std::size_t descriptorsOf(pid_t process);
/// What a process's memory weighs, shared pages by their share; KiB, 0 where that may not be asked.
long proportionalKiB(pid_t process);
/// How often its threads went to sleep so far.
long voluntarySwitches(pid_t process);
/// The number behind a name in /proc/PROCESS/status, or -1.
long statusValue(pid_t process, const std::string& name);

} // namespace mv::test
