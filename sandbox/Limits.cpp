#include "sandbox/Limits.h"

#include "Base/Core/Text.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/resource.h>

namespace mv {

namespace {

enum class HardLimit { Lowered, Kept };

/// Never above what the process was given: raising that takes rights. A hard limit that is kept lets the parent, an
/// ordinary user's too, raise the soft one for a job.
Result<void> setLimit(__rlimit_resource resource, const char* name, rlim_t value, HardLimit hard = HardLimit::Lowered)
{
    rlimit limit {};
    bool isSet = getrlimit(resource, &limit) == 0;
    limit.rlim_cur = std::min(value, limit.rlim_max);
    if (hard == HardLimit::Lowered)
        limit.rlim_max = limit.rlim_cur;
    if (!isSet || setrlimit(resource, &limit) != 0)
        return Error { Error::Kind::State, formatText("the limit of %s: %s", name, std::strerror(errno)), errno };
    return {};
}

} // namespace

Result<void> applyLimits(const Limits& limits)
{
    MV_TRY_VOID(setLimit(RLIMIT_DATA, "memory", limits.memoryBytes));
    // The parent counts what a call may take from where the process is by then.
    MV_TRY_VOID(setLimit(RLIMIT_CPU, "time", limits.cpuSeconds, HardLimit::Kept));
    MV_TRY_VOID(setLimit(RLIMIT_FSIZE, "file length", limits.fileBytes, HardLimit::Kept));
    MV_TRY_VOID(setLimit(RLIMIT_NOFILE, "descriptors", limits.descriptors));
    MV_TRY_VOID(setLimit(RLIMIT_CORE, "core files", 0));
    MV_TRY_VOID(setLimit(RLIMIT_MEMLOCK, "locked memory", 0));
    // A limit that is reached, and a reader who leaves a pipe, are failures of the call that writes.
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
    return {};
}

} // namespace mv
