#include "cli/Interruption.h"

#include <atomic>
#include <csignal>
#include <unistd.h>

namespace mv::cli {

namespace {

// The handler may run on any thread, in the middle of anything.
std::atomic<bool> s_onlyAsks = false;
std::atomic<bool> s_asked = false;
std::atomic<bool> s_leaving = false;
std::atomic<int> s_uncutTexts = 0;
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

void interrupted(int)
{
    if (s_onlyAsks && !s_asked.exchange(true))
        return;
    // Whoever begins a text after this line sees the flag, and this line's reader sees whoever began before.
    s_leaving = true;
    if (s_uncutTexts == 0)
        leaveNow(ExitStatus::Interrupted);
}

void handle(int signal, void (*handler)(int))
{
    struct sigaction action { };
    action.sa_handler = handler;
    sigaction(signal, &action, nullptr);
}

} // namespace

void leaveNow(ExitStatus status) { _exit(static_cast<int>(status)); }

void watchInterruptions()
{
    handle(SIGINT, interrupted);
    handle(SIGTERM, interrupted);
    // "nohup" has made this one be ignored.
    struct sigaction hangUp { };
    if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN)
        handle(SIGHUP, interrupted);
}

Interruption::Interruption()
{
    s_asked = false;
    s_onlyAsks = true;
}

Interruption::~Interruption() { s_onlyAsks = false; }

bool Interruption::asked() const { return s_asked; }

UncutText::UncutText()
{
    ++s_uncutTexts;
    if (!s_leaving)
        return;
    // Nothing new is begun; another thread may have a text to finish, and leaves then.
    if (--s_uncutTexts == 0)
        leaveNow(ExitStatus::Interrupted);
    while (true)
        pause();
}

UncutText::~UncutText()
{
    if (--s_uncutTexts == 0 && s_leaving)
        leaveNow(ExitStatus::Interrupted);
}

} // namespace mv::cli
