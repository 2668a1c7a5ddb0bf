#include "application/LaunchServices.h"

#include "Base/Core/Handle.h"
#include "system/RunningPrograms.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace mv {

namespace {

bool isExecutableFile(const std::string& path)
{
    struct stat facts { };
    return stat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode) && access(path.c_str(), X_OK) == 0;
}

/// Empty when the application holds nothing executable.
std::string executableOf(const Path& application)
{
    if (isExecutableFile(application.text()))
        return application.text();
    std::string name(application.lastPathComponentWithoutExtension());
    for (const char* folder : { "", "Contents/MacOS/" }) {
        std::string candidate = application.appending(folder + name).text();
        if (isExecutableFile(candidate))
            return candidate;
    }
    return {};
}

/// Held while an application is looked for and started, so that two callers do not both find it missing. Somebody
/// else's lock on the file is waited for a moment only: a second start is the lesser evil.
class LaunchLock {
public:
    explicit LaunchLock(const std::string& executable)
        : m_file(open(executable.c_str(), O_RDONLY | O_CLOEXEC))
    {
        constexpr int Tries = 100;
        constexpr useconds_t Pause = 10'000;
        for (int i = 0; i < Tries && m_file && flock(m_file.get(), LOCK_EX | LOCK_NB) != 0; ++i)
            usleep(Pause);
    }

private:
    UniqueFd m_file; // closing it gives the lock up
};

/// Runs in the child of a fork; only async-signal-safe calls.
[[noreturn]] void becomeApplication(char* const* arguments, int reportFd)
{
    setsid();
    for (int ignored : { SIGPIPE, SIGXFSZ })
        signal(ignored, SIG_DFL); // what this process ignores is inherited
    if (pid_t second = fork(); second != 0)
        _exit(second < 0 ? 1 : 0);
    int null = open("/dev/null", O_RDWR);
    for (int fd : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO })
        dup2(null, fd);
    // The report descriptor survives until the program is replaced, then closes by itself.
    dup2(reportFd, 3);
    fcntl(3, F_SETFD, FD_CLOEXEC);
    syscall(SYS_close_range, 4U, ~0U, 0U);
    execv(arguments[0], arguments);
    int code = errno;
    [[maybe_unused]] ssize_t written = write(3, &code, sizeof code);
    _exit(127);
}

} // namespace

OSStatus LSOpenApplication(const LSApplicationParameters& parameters)
{
    std::string executable = executableOf(parameters.application.file.path());
    if (executable.empty())
        return fnfErr;
    LaunchLock lock(executable);
    if (isProgramRunning(executable))
        return 0;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return kLSNoExecutableErr;
    UniqueFd reportRead(ends[0]);
    UniqueFd reportWrite(ends[1]);
    char* arguments[] = { executable.data(), nullptr };
    pid_t child = fork();
    if (child < 0)
        return kLSNoExecutableErr;
    if (child == 0)
        becomeApplication(arguments, reportWrite.get());
    reportWrite.reset();
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) { }
    int code = 0;
    bool failed = read(reportRead.get(), &code, sizeof code) > 0;
    return failed || status != 0 ? kLSNoExecutableErr : 0;
}

} // namespace mv
