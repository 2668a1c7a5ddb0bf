#include "cli/Output.h"

#include "cli/Interruption.h"
#include "cli/Terminal.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace mv::cli {

namespace {

// Why standard output failed; 0 while it has not.
std::atomic<int> s_failure = 0;

void ignore(int) { }

} // namespace

int writeAll(int fd, std::string_view text)
{
    while (!text.empty()) {
        ssize_t count = write(fd, text.data(), text.size());
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
            continue;
        }
        // Whoever shares the stream may have made it one that does not wait.
        if (errno == EAGAIN) {
            pollfd waiting { fd, POLLOUT, 0 };
            poll(&waiting, 1, -1);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

bool print(std::string_view text)
{
    UncutText whole;
    if (s_failure == 0)
        s_failure = writeAll(STDOUT_FILENO, text);
    return s_failure == 0;
}

void printToError(std::string_view text)
{
    UncutText whole;
    writeAll(STDERR_FILENO, text);
}

bool canPrint() { return s_failure == 0; }

ExitStatus closeOutput(ExitStatus status)
{
    // Some file systems tell of a full disk only here.
    if (close(STDOUT_FILENO) != 0 && s_failure == 0)
        s_failure = errno;
    if (s_failure == 0)
        return status;
    if (s_failure != EPIPE)
        printToError("mivo: standard output cannot be written: " + std::string(std::strerror(s_failure)) + "\n");
    return worse(status, ExitStatus::SomeFailed);
}

void prepareStandardStreams()
{
    // In order, so that each takes the lowest number, which is its own. Writing into a descriptor that is open for
    // reading fails, and the other way round.
    for (int fd : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO }) {
        if (fcntl(fd, F_GETFD) < 0)
            open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
    // Not SIG_IGN, which the programs that are started would inherit.
    struct sigaction action { };
    action.sa_handler = ignore;
    sigaction(SIGPIPE, &action, nullptr);
    sigaction(SIGXFSZ, &action, nullptr);
}

} // namespace mv::cli
