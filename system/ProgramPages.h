#pragma once

namespace mv {

/// Unmaps what the process has mapped of its programs' and libraries' code and constants. They stay in the system's
/// cache of files, and whatever is used again is mapped again from there: some tens of microseconds for the next call.
/// For a process that waits, of whose start most will not be used again. (What a debugger has written into the code
/// goes, too: its breakpoints in a process that waits.)
void letGoOfProgramPages();

} // namespace mv
