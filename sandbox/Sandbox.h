#pragma once

#include "sandbox/Limits.h"
#include "sandbox/SyscallFilter.h"

#include <optional>
#include <string>

namespace mv {

/// What a closed process still wants to tell.
struct SandboxReport {
    /// A sentence about a second lock that this kernel does not have; for the log, once.
    std::optional<std::string> missing;
};

/// Closes this process for good, before it reads the first byte of anybody's file: limits, no new privileges, nobody
/// may look into its memory, no file by name (Landlock, where the kernel has it), and only the system calls that
/// decoding needs. It is killed when the thread that has started it ends, which a process cannot undo that is closed.
/// Then it tries what must not work. An error means that the process is not closed and has to end: a lock that must be
/// there is missing, other threads run already, or something worked that must not.
///
/// Everything that has to be loaded or opened comes before this.
Result<SandboxReport> closeSandbox(const Limits& limits, UnknownCall unknown = UnknownCall::Refused);

} // namespace mv
