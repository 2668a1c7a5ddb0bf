#include "application/NSApplication.h"

#include <algorithm>
#include <climits>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace mv {

namespace {

void terminateOnSignal(int) { NSApplication::sharedApplication().terminate(); }

} // namespace

NSApplication& NSApplication::sharedApplication()
{
    static NSApplication application;
    return application;
}

NSApplication::NSApplication()
    : m_wakeFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
}

NSApplication::~NSApplication() { close(m_wakeFd); }

int NSApplication::run(NSApplicationDelegate& delegate)
{
    delegate.applicationDidFinishLaunching();
    while (!m_terminateAsked) {
        runPosted();
        if (m_terminateAsked)
            break;
        std::vector<pollfd> waits { { m_wakeFd, POLLIN, 0 } };
        for (const Watch& watch : m_watches)
            waits.push_back({ watch.fd, POLLIN, 0 });
        if (poll(waits.data(), waits.size(), millisecondsToCall()) < 0)
            continue;
        callWhatIsDue();
        for (std::size_t i = 1; i < waits.size(); ++i) {
            if (!waits[i].revents)
                continue;
            // Looked up anew: the call before may have ended this watch.
            auto watch
                = std::find_if(m_watches.begin(), m_watches.end(), [&](const Watch& w) { return w.fd == waits[i].fd; });
            if (watch != m_watches.end()) {
                auto ready = watch->ready;
                ready();
            }
        }
    }
    runPosted();
    return 0;
}

void NSApplication::terminate()
{
    m_terminateAsked = true;
    wake();
}

void NSApplication::post(std::function<void()> work)
{
    {
        MutexLock lock(m_lock);
        m_posted.push_back(std::move(work));
    }
    wake();
}

void NSApplication::watch(int fd, std::function<void()> ready) { m_watches.push_back({ fd, std::move(ready) }); }

void NSApplication::unwatch(int fd)
{
    std::erase_if(m_watches, [&](const Watch& watch) { return watch.fd == fd; });
}

void NSApplication::callAt(std::chrono::steady_clock::time_point time, std::function<void()> call)
{
    m_callTime = time;
    m_call = std::move(call);
}

/// For poll: -1 where nothing is to be called.
int NSApplication::millisecondsToCall() const
{
    if (!m_call)
        return -1;
    auto left = std::chrono::ceil<std::chrono::milliseconds>(m_callTime - std::chrono::steady_clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX));
}

void NSApplication::callWhatIsDue()
{
    if (!m_call || std::chrono::steady_clock::now() < m_callTime)
        return;
    auto call = std::exchange(m_call, nullptr);
    call();
}

void NSApplication::runPosted()
{
    std::uint64_t count = 0;
    while (read(m_wakeFd, &count, sizeof count) > 0) { }
    std::deque<std::function<void()>> work;
    {
        MutexLock lock(m_lock);
        work.swap(m_posted);
    }
    for (auto& piece : work)
        piece();
}

void NSApplication::wake()
{
    std::uint64_t one = 1;
    [[maybe_unused]] ssize_t written = write(m_wakeFd, &one, sizeof one);
}

int NSApplicationMain(NSApplicationDelegate& delegate)
{
    NSApplication& application = NSApplication::sharedApplication();
    struct sigaction action { };
    action.sa_handler = terminateOnSignal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGINT, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    return application.run(delegate);
}

} // namespace mv
