#include "tests/support/ServiceProcess.h"

#include "tests/support/BusClient.h"
#include "tests/support/Places.h"
#include "tests/support/ProcessTree.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace mv::test {

ServiceProcess::ServiceProcess(const std::string& executable)
{
    std::string program = executable.empty() ? buildPath("bin/mivo-mediad") : executable;
    std::string logPath = m_folder.file("log");
    m_process = fork();
    if (m_process < 0)
        throw std::runtime_error("cannot fork");
    if (m_process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        int file = open(logPath.c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600);
        dup2(file, STDERR_FILENO);
        execl(program.c_str(), program.c_str(), nullptr);
        _exit(127);
    }
}

ServiceProcess::~ServiceProcess()
{
    if (running()) {
        ::kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }
}

bool ServiceProcess::waitUntilReady()
{
    BusClient client;
    for (const std::string& name : kServiceBusNames) {
        if (!client.waitForOwner(name))
            return false;
    }
    return true;
}

int ServiceProcess::waitForEnd()
{
    if (!eventually([&] { return !running(); }))
        return -1;
    return WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -2;
}

bool ServiceProcess::running()
{
    if (m_process > 0 && waitpid(m_process, &m_status, WNOHANG) == m_process)
        m_process = -1;
    return m_process > 0;
}

std::string ServiceProcess::log() const
{
    std::ifstream in(m_folder.file("log"));
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

long ServiceProcess::residentKiB() const { return statusValue(m_process, "VmRSS"); }

int ServiceProcess::threadCount() const { return static_cast<int>(statusValue(m_process, "Threads")); }

} // namespace mv::test
