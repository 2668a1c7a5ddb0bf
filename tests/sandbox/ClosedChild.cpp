#include "tests/sandbox/ClosedChild.h"

#include <cstdio>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace mv::test {

namespace {

Result<void> close(Locks locks, const Limits& limits)
{
    if (locks == Locks::All) {
        MV_TRY(report, closeSandbox(limits));
        return {};
    }
    MV_TRY_VOID(applyLimits(limits));
    if (locks == Locks::FilterAlone)
        return closeBySyscallFilter();
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    MV_TRY(state, closeByLandlock());
    if (state == LandlockState::Missing)
        return Error { Error::Kind::Unsupported, "no Landlock" };
    return {};
}

} // namespace

ChildEnd inChild(const std::function<int()>& work)
{
    std::fflush(nullptr);
    pid_t child = fork();
    if (child == 0)
        _exit(work());
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child)
        return {};
    if (WIFSIGNALED(status))
        return { -1, WTERMSIG(status) };
    return { WEXITSTATUS(status), 0 };
}

ChildEnd inClosedChild(Locks locks, const std::function<int()>& work, const Limits& limits)
{
    return inChild([&] {
        if (auto closed = close(locks, limits); !closed) {
            std::fprintf(stderr, "%s\n", closed.error().text.c_str());
            return CouldNotClose;
        }
        return work();
    });
}

} // namespace mv::test
