#include "process/ChildProgram.h"

#include "process/Starter.h"
#include "system/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <functional>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace mv {

namespace {

/// What is done between the birth of a process and its program.
class Preparation {
public:
    Preparation()
    {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawnattr_init(&m_attributes);
    }
    ~Preparation()
    {
        posix_spawnattr_destroy(&m_attributes);
        posix_spawn_file_actions_destroy(&m_actions);
    }
    Preparation(const Preparation&) = delete;
    Preparation& operator=(const Preparation&) = delete;

    /// Zero or an errno.
    int leaveOnly(int socket)
    {
        int code = 0;
        for (int fd : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO })
            code = code ? code : posix_spawn_file_actions_addopen(&m_actions, fd, "/dev/null", O_RDWR, 0);
        if (!code)
            code = posix_spawn_file_actions_adddup2(&m_actions, socket, ChildProgram::SocketDescriptor);
        if (!code)
            code = posix_spawn_file_actions_addclosefrom_np(&m_actions, ChildProgram::SocketDescriptor + 1);
        return code;
    }
    int separateSignals()
    {
        sigset_t none;
        sigset_t all;
        sigemptyset(&none);
        sigfillset(&all);
        int code = posix_spawnattr_setsigmask(&m_attributes, &none);
        if (!code)
            code = posix_spawnattr_setsigdefault(&m_attributes, &all);
        // In a process group of its own: Ctrl-C is for whoever started it, who tells it what to do.
        constexpr short Flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP;
        return code ? code : posix_spawnattr_setflags(&m_attributes, Flags);
    }

    const posix_spawn_file_actions_t* actions() const { return &m_actions; }
    const posix_spawnattr_t* attributes() const { return &m_attributes; }

private:
    posix_spawn_file_actions_t m_actions;
    posix_spawnattr_t m_attributes;
};

/// A process whose parent ignored the ends of its children ignores them, too: the system would forget how ours end, and
/// give their numbers to others while we still hold them.
void keepEnds()
{
    struct sigaction action { };
    if (sigaction(SIGCHLD, nullptr, &action) == 0 && action.sa_handler == SIG_IGN)
        std::signal(SIGCHLD, SIG_DFL);
}

/// Zero, or the errno that no thread is to be had with.
int runByStarter(const std::function<void()>& work)
{
    try {
        Starter::ofProcess().run(work);
    } catch (const std::system_error& problem) {
        return problem.code().value();
    }
    return 0;
}

std::chrono::milliseconds processorTime(clockid_t clock)
{
    timespec time {};
    if (clock_gettime(clock, &time) != 0)
        return {};
    return std::chrono::seconds(time.tv_sec) + std::chrono::milliseconds(time.tv_nsec / 1'000'000);
}

} // namespace

Result<ChildProgram> ChildProgram::start(const std::vector<std::string>& words, UniqueFd socket)
{
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    // exec takes pointers that are not const, and writes nothing through them.
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    char* environment[] = { nullptr };
    keepEnds();

    // Out of the way of what is put at its place and below.
    if (socket.get() <= SocketDescriptor)
        socket.reset(fcntl(socket.get(), F_DUPFD_CLOEXEC, SocketDescriptor + 1));
    Preparation preparation;
    int code = preparation.leaveOnly(socket.get());
    if (!code)
        code = preparation.separateSignals();
    pid_t child = -1;
    int started = 0;
    auto start = [&] {
        started = posix_spawn(
            &child, arguments[0], preparation.actions(), preparation.attributes(), arguments.data(), environment);
    };
    if (!code)
        code = runByStarter(start);
    code = code ? code : started;
    if (code)
        return systemError(code, "cannot start " + words.front());
    return ChildProgram(child);
}

ChildProgram::ChildProgram(ChildProgram&& other) noexcept
    : m_processId(std::exchange(other.m_processId, -1))
    , m_end(other.m_end)
{
}

ChildProgram& ChildProgram::operator=(ChildProgram&& other) noexcept
{
    std::swap(m_processId, other.m_processId);
    std::swap(m_end, other.m_end);
    return *this;
}

ChildProgram::~ChildProgram()
{
    if (m_processId < 0)
        return;
    kill();
    wait();
}

// Nobody else waits for it, so until then the number is no other process's.
void ChildProgram::kill() const
{
    if (!m_end)
        ::kill(m_processId, SIGKILL);
}

ProgramEnd ChildProgram::remember(int status)
{
    m_end = WIFSIGNALED(status) ? ProgramEnd { -1, WTERMSIG(status) } : ProgramEnd { WEXITSTATUS(status), 0 };
    return *m_end;
}

std::optional<ProgramEnd> ChildProgram::end()
{
    int status = 0;
    if (!m_end && waitpid(m_processId, &status, WNOHANG) == m_processId)
        remember(status);
    return m_end;
}

ProgramEnd ChildProgram::wait()
{
    int status = 0;
    while (!m_end && waitpid(m_processId, &status, 0) != m_processId) {
        // Somebody has taken its end from us: it has one.
        if (errno != EINTR)
            return m_end.emplace();
    }
    return m_end ? *m_end : remember(status);
}

std::chrono::milliseconds ChildProgram::cpuTime() const
{
    clockid_t clock = 0;
    if (m_end || clock_getcpuclockid(m_processId, &clock) != 0)
        return {};
    return processorTime(clock);
}

Result<void> ChildProgram::runOn(const cpu_set_t& processors) const
{
    if (m_end || sched_setaffinity(m_processId, sizeof processors, &processors) != 0)
        return systemError(m_end ? ESRCH : errno, "sched_setaffinity");
    return {};
}

Result<void> ChildProgram::limitCpuTime(std::chrono::seconds more) const
{
    auto until = std::chrono::ceil<std::chrono::seconds>(cpuTime()) + more;
    return setLimit(RLIMIT_CPU, static_cast<std::uint64_t>(until.count()));
}

Result<void> ChildProgram::limitFileBytes(std::uint64_t length) const { return setLimit(RLIMIT_FSIZE, length); }

// The hard one stays: raising it takes rights.
Result<void> ChildProgram::setLimit(int resource, std::uint64_t value) const
{
    rlimit limit {};
    auto which = static_cast<__rlimit_resource>(resource);
    if (m_end || prlimit(m_processId, which, nullptr, &limit) != 0)
        return systemError(m_end ? ESRCH : errno, "prlimit");
    limit.rlim_cur = std::min(static_cast<rlim_t>(value), limit.rlim_max);
    if (prlimit(m_processId, which, &limit, nullptr) != 0)
        return systemError(errno, "prlimit");
    return {};
}

} // namespace mv
