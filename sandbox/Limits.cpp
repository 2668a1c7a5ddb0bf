#include "sandbox/Limits.h"

#include "Base/Core/Text.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <sys/resource.h>

namespace mv {

namespace {

Result<void> setLimit(__rlimit_resource resource, const char* name, const rlimit& limit)
{
    if (setrlimit(resource, &limit) != 0)
        return Error { Error::Kind::State, formatText("the limit of %s: %s", name, std::strerror(errno)), errno };
    return {};
}

Result<void> setLimit(__rlimit_resource resource, const char* name, rlim_t value)
{
    return setLimit(resource, name, { value, value });
}

/// The hard one stays, so that the parent, an ordinary user's too, can raise it for a job.
Result<void> setSoftLimit(__rlimit_resource resource, const char* name, rlim_t value)
{
    rlimit limit {};
    if (getrlimit(resource, &limit) != 0)
        return Error { Error::Kind::State, formatText("the limit of %s: %s", name, std::strerror(errno)), errno };
    limit.rlim_cur = std::min(value, limit.rlim_max);
    return setLimit(resource, name, limit);
}

} // namespace

Result<void> applyLimits(const Limits& limits)
{
    MV_TRY_VOID(setLimit(RLIMIT_DATA, "memory", limits.memoryBytes));
    // The parent counts what a call may take from where the process is by then.
    MV_TRY_VOID(setSoftLimit(RLIMIT_CPU, "time", limits.cpuSeconds));
    MV_TRY_VOID(setSoftLimit(RLIMIT_FSIZE, "file length", limits.fileBytes));
    MV_TRY_VOID(setLimit(RLIMIT_NOFILE, "descriptors", limits.descriptors));
    MV_TRY_VOID(setLimit(RLIMIT_CORE, "core files", 0));
    MV_TRY_VOID(setLimit(RLIMIT_MEMLOCK, "locked memory", 0));
    std::signal(SIGXFSZ, SIG_IGN);
    return {};
}

} // namespace mv
