#pragma once

#include "Base/Core/Result.h"

namespace mv {

/// What answers a system call that the filter does not know. Refused is what newer C libraries fall back from; Trapped
/// (SIGSYS) shows a test which call is missing in the table.
enum class UnknownCall { Refused, Trapped };

/// Leaves this process, and every thread and program that it may still start, the system calls that decoding needs and
/// no others, for good. Sets no_new_privs. The calls stand in one table, each group with its reason.
///
/// What may be called needs no name of a file: memory that is never executable, descriptors that are open, threads of
/// this process, time. What honest libraries try is refused (EPERM); what nobody honest tries ends the process.
Result<void> closeBySyscallFilter(UnknownCall unknown = UnknownCall::Refused);

} // namespace mv
