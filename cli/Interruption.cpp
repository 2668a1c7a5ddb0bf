#include "cli/Interruption.h"

#include <atomic>
#include <csignal>

namespace mv::cli {

namespace {

std::atomic<bool> s_asked = false;
static_assert(std::atomic<bool>::is_always_lock_free);

void note(int) { s_asked = true; }

void handle(void (*handler)(int), int flags)
{
    struct sigaction action { };
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

} // namespace

Interruption::Interruption()
{
    s_asked = false;
    // The handler is used up by the first signal.
    handle(note, SA_RESETHAND);
}

Interruption::~Interruption() { handle(SIG_DFL, 0); }

bool Interruption::asked() const { return s_asked; }

} // namespace mv::cli
