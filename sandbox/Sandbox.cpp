#include "sandbox/Sandbox.h"

#include "Base/Core/Handle.h"
#include "Base/Core/Text.h"
#include "sandbox/Landlock.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {

namespace {

Error failure(const char* what)
{
    return { Error::Kind::State, formatText("%s: %s", what, std::strerror(errno)), errno };
}

/// In a sandbox that shows no processes: this changes nothing for a single thread, and is refused where there are
/// several.
Result<void> checkSingleThreadWithoutList()
{
    if (unshare(CLONE_THREAD) == 0)
        return {};
    if (errno == EINVAL)
        return Error { Error::Kind::State, "several threads run already" };
    return failure("threads cannot be counted");
}

/// The filter holds for threads that are born behind it, not for those that run.
Result<void> checkSingleThread()
{
    std::unique_ptr<DIR, CloseWith<closedir>> tasks(opendir("/proc/self/task"));
    if (!tasks)
        return checkSingleThreadWithoutList();
    int count = 0;
    while (const dirent* entry = readdir(tasks.get()))
        count += entry->d_name[0] != '.';
    if (count != 1)
        return Error { Error::Kind::State, formatText("%d threads run already", count) };
    return {};
}

/// Nobody would end, or hold to a limit, what goes on behind the end of its parent.
Result<void> endWithParent()
{
    if (prctl(PR_SET_PDEATHSIG, SIGKILL, 0, 0, 0) != 0)
        return failure("end with the parent");
    return {};
}

Result<void> giveUpPrivileges()
{
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        return failure("no_new_privs");
    if (prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) != 0)
        return failure("dumpable");
    return {};
}

/// What must not work in a closed process; the descriptor is one whose mode could be changed before.
Result<void> selfTest(int descriptor)
{
    if (UniqueFd file(open("/", O_RDONLY | O_CLOEXEC)); file)
        return Error { Error::Kind::State, "a folder could be opened" };
    if (UniqueFd connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)); connection)
        return Error { Error::Kind::State, "a socket could be made" };
    if (fchmod(descriptor, 0600) == 0)
        return Error { Error::Kind::State, "a file's mode could be changed" };
    return {};
}

} // namespace

Result<SandboxReport> closeSandbox(const Limits& limits, UnknownCall unknown)
{
    MV_TRY_VOID(endWithParent());
    MV_TRY_VOID(applyLimits(limits));
    MV_TRY_VOID(checkSingleThread());
    // A pipe is nobody's but this process's: the test of its mode can harm nobody.
    int pipeEnds[2];
    if (pipe2(pipeEnds, O_CLOEXEC) != 0)
        return failure("no pipe for the test");
    UniqueFd own(pipeEnds[0]);
    UniqueFd other(pipeEnds[1]);
    MV_TRY_VOID(giveUpPrivileges());
    MV_TRY(landlock, closeByLandlock());
    MV_TRY_VOID(closeBySyscallFilter(unknown));
    if (unknown == UnknownCall::Refused)
        MV_TRY_VOID(selfTest(own.get()));
    SandboxReport report;
    if (landlock == LandlockState::Missing)
        report.missing = "this kernel has no Landlock; workers are closed by the filter of system calls alone";
    return report;
}

} // namespace mv
