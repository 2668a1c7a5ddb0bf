#include "client/ServiceProcess.h"

#include "Base/Core/NSBundle.h"
#include "Base/Core/Text.h"
#include "service/include/ServiceNames.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>

namespace mv {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// Starting takes milliseconds; a machine that needs longer than this is in trouble that a person should look at.
constexpr auto StartTimeout = 20s;
constexpr auto EndTimeout = 5s;
constexpr auto PollInterval = 2ms;
constexpr int ExecFailed = 127;
// The service's own exit status where somebody else has one of its names.
constexpr int NameTaken = 1;
// More starts than this in a row are not a matter of who comes first.
constexpr int MaxStarts = 5;
// The address of a bus is a line of less than this.
constexpr std::size_t MaxAddressBytes = 4096;

Error systemError(const std::string& what) { return { Error::Kind::Io, what + ": " + std::strerror(errno), errno }; }

/// Children that run on by themselves. Who starts a service again and again over days would have as many dead ones.
class ReleasedChildren {
public:
    void add(pid_t child)
    {
        std::lock_guard lock(m_mutex);
        m_children.push_back(child);
    }
    void removeEnded()
    {
        std::lock_guard lock(m_mutex);
        std::erase_if(m_children, [](pid_t child) { return waitpid(child, nullptr, WNOHANG) != 0; });
    }

private:
    std::mutex m_mutex;
    std::vector<pid_t> m_children;
};

ReleasedChildren& releasedChildren()
{
    static ReleasedChildren children;
    return children;
}

/// Between fork and exec: only calls that are safe there.
[[noreturn]] void becomeProgram(char* const* arguments, const ChildProcess::Options& options, pid_t parent)
{
    setsid();
    if (!options.outlivesUs) {
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        // The parent may have died before the line above.
        if (getppid() != parent)
            _exit(ExecFailed);
    }
    int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(nowhere, STDIN_FILENO);
    dup2(nowhere, STDOUT_FILENO);
    if (options.quiet)
        dup2(nowhere, STDERR_FILENO);
    // What the caller has open, a lock or a stick's folder, is not kept by what outlives it.
    static_cast<void>(close_range(3, ~0U, CLOSE_RANGE_CLOEXEC));
    if (arguments[0][0] == '/')
        static_cast<void>(chdir("/"));
    if (options.keepOpen >= 0)
        fcntl(options.keepOpen, F_SETFD, 0);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    execvp(arguments[0], arguments);
    _exit(ExecFailed);
}

/// The first line that comes out of the pipe.
Result<std::string> readLine(int fd)
{
    std::string text;
    auto deadline = Clock::now() + StartTimeout;
    while (text.find('\n') == std::string::npos && text.size() < MaxAddressBytes) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd waiting { fd, POLLIN, 0 };
        if (left.count() <= 0 || poll(&waiting, 1, static_cast<int>(left.count())) <= 0)
            return Error { Error::Kind::Io, "the message bus does not start" };
        std::array<char, MaxAddressBytes> buffer;
        ssize_t got = read(fd, buffer.data(), buffer.size());
        if (got <= 0)
            return Error { Error::Kind::NotFound, "cannot start dbus-daemon; is it installed?" };
        text.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return text.substr(0, text.find('\n'));
}

Result<ChildProcess> startBus()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return systemError("pipe");
    UniqueFd readEnd(ends[0]);
    UniqueFd writeEnd(ends[1]);
    MV_TRY(bus,
        ChildProcess::start({ "dbus-daemon", "--session", "--nofork", "--nopidfile",
                                "--print-address=" + std::to_string(writeEnd.get()) },
            { .keepOpen = writeEnd.get() }));
    writeEnd.reset();
    MV_TRY(address, readLine(readEnd.get()));
    setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
    return bus;
}

std::size_t publishedNames(ServiceBus& bus)
{
    return static_cast<std::size_t>(
        std::count_if(ServiceNames.begin(), ServiceNames.end(), [&](auto name) { return bus.hasOwner(name); }));
}

/// False when it did not come true in time.
template <class Condition> bool waitFor(const Condition& condition, Clock::duration longest)
{
    auto deadline = Clock::now() + longest;
    while (!condition()) {
        if (Clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(PollInterval);
    }
    return true;
}

/// True when the process has all names: the last one is published last.
bool isOwnedBy(ServiceBus& bus, pid_t process)
{
    auto owner = bus.processIdOf(ServiceNames.back());
    return owner.ok() && *owner == process;
}

/// What stands in the way when names are held by somebody who does not come to have all of them.
Error namesAreHeld(ServiceBus& bus)
{
    for (std::string_view name : ServiceNames) {
        if (auto process = bus.processIdOf(name); process.ok()) {
            return { Error::Kind::State,
                formatText("the name %.*s is held by process %d, and not all of the services are there",
                    static_cast<int>(name.size()), name.data(), *process) };
        }
    }
    return { Error::Kind::Io, "the services' names come and go" };
}

} // namespace

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept
{
    if (this != &other) {
        end();
        m_processId = std::exchange(other.m_processId, -1);
        m_exitStatus = other.m_exitStatus;
    }
    return *this;
}

Result<ChildProcess> ChildProcess::start(const std::vector<std::string>& command, const Options& options)
{
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    releasedChildren().removeEnded();
    pid_t parent = getpid();
    pid_t child = fork();
    if (child < 0)
        return systemError("fork");
    if (child == 0)
        becomeProgram(arguments.data(), options, parent);
    return ChildProcess(child);
}

bool ChildProcess::isRunning()
{
    if (m_processId < 0)
        return false;
    int status = 0;
    if (waitpid(m_processId, &status, WNOHANG) == 0)
        return true;
    m_processId = -1;
    m_exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return false;
}

void ChildProcess::release()
{
    if (m_processId >= 0)
        releasedChildren().add(m_processId);
    m_processId = -1;
}

void ChildProcess::end()
{
    if (!isRunning())
        return;
    kill(m_processId, SIGTERM);
    for (auto deadline = Clock::now() + EndTimeout; Clock::now() < deadline;
         std::this_thread::sleep_for(PollInterval)) {
        if (!isRunning())
            return;
    }
    kill(m_processId, SIGKILL);
    waitpid(m_processId, nullptr, 0);
    m_processId = -1;
}

Result<std::unique_ptr<ServiceProcess>> ServiceProcess::ensure(const Options& options)
{
    std::unique_ptr<ServiceProcess> process(new ServiceProcess);
    bool ownBus = !haveSessionBus();
    if (ownBus) {
        MV_TRY(started, startBus());
        process->m_bus = std::move(started);
    }
    MV_TRY(bus, ServiceBus::open());
    if (publishedNames(*bus) == ServiceNames.size())
        return process;
    if (!ownBus && bus->isActivatable(ServiceNames.back())) {
        MV_TRY_VOID(activate(*bus, options));
        return process;
    }
    if (access(options.program.c_str(), X_OK) != 0)
        return Error { Error::Kind::NotFound, "the service's program is not at " + options.program.text() };
    MV_TRY_VOID(process->startService(*bus, options, !ownBus));
    if (!ownBus)
        process->m_service.release();
    return process;
}

// The last name is published last, and what the bus starts has all of them or none.
Result<void> ServiceProcess::activate(ServiceBus& bus, const Options& options)
{
    if (auto started = bus.activate(ServiceNames.back(), StartTimeout); !started)
        return Error { Error::Kind::Io, "the message bus cannot start the service: " + started.error().text };
    if (!waitFor([&] { return publishedNames(bus) == ServiceNames.size(); }, options.heldNamesTimeout))
        return namesAreHeld(bus);
    return {};
}

// Several commands may start a service at the same time, and one may be leaving: who finds a name taken ends, and
// whether the names of another are to be used or an own service is to be started anew shows when either all are there
// or none.
Result<void> ServiceProcess::startService(ServiceBus& bus, const Options& options, bool outlivesUs)
{
    for (int i = 0; i < MaxStarts; ++i) {
        std::size_t names = 0;
        auto allOrNone = [&] { return (names = publishedNames(bus)) == 0 || names == ServiceNames.size(); };
        if (!waitFor(allOrNone, options.heldNamesTimeout))
            return namesAreHeld(bus);
        if (names > 0)
            return {};
        MV_TRY(started,
            ChildProcess::start({ options.program.text() }, { .quiet = !options.showLog, .outlivesUs = outlivesUs }));
        m_service = std::move(started);
        auto allOrEnded = [&] { return publishedNames(bus) == ServiceNames.size() || !m_service.isRunning(); };
        if (!waitFor(allOrEnded, StartTimeout))
            return Error { Error::Kind::Io, "the service does not publish its names" };
        // Where another has the names, ours is about to find that out. Not to be left behind meanwhile: if the other
        // quit at once, ours would serve on unasked.
        auto oursOrEnded = [&] { return isOwnedBy(bus, m_service.processId()) || !m_service.isRunning(); };
        waitFor(oursOrEnded, options.heldNamesTimeout);
        if (m_service.isRunning())
            return {};
        if (m_service.exitStatus() != NameTaken)
            break;
    }
    return Error { Error::Kind::Io, "the service ended while it was starting" };
}

bool haveSessionBus() { return ServiceBus::open().ok(); }

Path serviceProgramBesideUs() { return NSBundle::mainBundle().bundlePath().appending("mivo-mediad"); }

} // namespace mv
