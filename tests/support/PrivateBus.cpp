#include "tests/support/PrivateBus.h"

#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace mv::test {

PrivateBus::PrivateBus(const std::string& configuration)
{
    std::string settings = configuration.empty() ? "--session" : "--config-file=" + configuration;
    std::string address = "--address=unix:path=" + m_folder.file("bus");
    int ends[2];
    if (pipe(ends) != 0)
        throw std::runtime_error("no pipe");
    m_process = fork();
    if (m_process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        execlp(
            "dbus-daemon", "dbus-daemon", settings.c_str(), "--nofork", address.c_str(), "--print-address=1", nullptr);
        _exit(127);
    }
    close(ends[1]);
    char c = 0;
    while (read(ends[0], &c, 1) == 1 && c != '\n')
        m_address += c;
    close(ends[0]);
    if (m_address.empty())
        throw std::runtime_error("dbus-daemon does not start");
    setenv("DBUS_SESSION_BUS_ADDRESS", m_address.c_str(), 1);
}

PrivateBus::~PrivateBus()
{
    kill();
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

void PrivateBus::kill()
{
    if (m_process <= 0)
        return;
    ::kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
    m_process = -1;
}

} // namespace mv::test
