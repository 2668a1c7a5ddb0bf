#include "bus/UnitPlaceholder.h"

#include "Base/Core/Text.h"
#include "bus/BusHandle.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <fstream>
#include <linux/close_range.h>
#include <string>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace mv {

namespace {

using namespace std::chrono_literals;

// systemd moves processes within milliseconds.
constexpr auto MovePatience = 1s;
constexpr auto MovePause = 2ms;

/// Runs in the child of a fork; only async-signal-safe calls. A grandchild is nobody's but systemd's, which so hears of
/// its end.
[[noreturn]] void becomePlaceholder(int tell, int life)
{
    if (pid_t second = fork(); second != 0) {
        [[maybe_unused]] ssize_t written = write(tell, &second, sizeof second);
        _exit(0);
    }
    dup2(life, 0);
    syscall(SYS_close_range, 1U, ~0U, 0U);
    char end = 0;
    while (read(0, &end, 1) < 0 && errno == EINTR) { }
    _exit(0);
}

struct Pipe {
    UniqueFd readEnd;
    UniqueFd writeEnd;

    static std::optional<Pipe> make()
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            return std::nullopt;
        return Pipe { UniqueFd(ends[0]), UniqueFd(ends[1]) };
    }
};

/// This process's group of the second version's hierarchy, which systemd keeps; empty where there is none.
std::string controlGroup()
{
    std::ifstream file("/proc/self/cgroup");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("0::"))
            return line.substr(3);
    }
    return {};
}

std::vector<pid_t> processesOf(const std::string& group)
{
    std::vector<pid_t> processes;
    for (const char* root : { "/sys/fs/cgroup", "/sys/fs/cgroup/unified" }) {
        std::ifstream file(root + group + "/cgroup.procs");
        for (pid_t process = 0; file >> process;)
            processes.push_back(process);
        if (!processes.empty())
            break;
    }
    return processes;
}

/// True when systemd has taken the order to put the processes into a scope.
bool orderScope(const std::vector<pid_t>& processes)
{
    auto bus = openSessionBus();
    sd_bus_message* made = nullptr;
    if (!bus
        || sd_bus_message_new_method_call(bus->get(), &made, "org.freedesktop.systemd1", "/org/freedesktop/systemd1",
               "org.freedesktop.systemd1.Manager", "StartTransientUnit")
            < 0)
        return false;
    BusMessage order(made);
    std::string name = formatText("mivo-mediad-%d.scope", static_cast<int>(getpid()));
    std::vector<std::uint32_t> numbers(processes.begin(), processes.end());
    bool written = sd_bus_message_append(made, "ss", name.c_str(), "fail") >= 0
        && sd_bus_message_open_container(made, 'a', "(sv)") >= 0
        && sd_bus_message_append(made, "(sv)", "Description", "s", "Jobs that mivo-mediad finishes") >= 0
        && sd_bus_message_append(made, "(sv)", "Slice", "s", "background.slice") >= 0
        && sd_bus_message_open_container(made, 'r', "sv") >= 0 && sd_bus_message_append(made, "s", "PIDs") >= 0
        && sd_bus_message_open_container(made, 'v', "au") >= 0
        && sd_bus_message_append_array(made, 'u', numbers.data(), numbers.size() * sizeof numbers[0]) >= 0
        && sd_bus_message_close_container(made) >= 0 && sd_bus_message_close_container(made) >= 0
        && sd_bus_message_close_container(made) >= 0 && sd_bus_message_append(made, "a(sa(sv))", 0) >= 0;
    return written && sd_bus_call(bus->get(), made, 0, nullptr, nullptr) >= 0;
}

bool isMovedFrom(const std::string& group)
{
    auto until = std::chrono::steady_clock::now() + MovePatience;
    while (controlGroup() == group) {
        if (std::chrono::steady_clock::now() > until)
            return false;
        std::this_thread::sleep_for(MovePause);
    }
    return true;
}

} // namespace

std::optional<UnitPlaceholder> UnitPlaceholder::takeOurPlace()
{
    const std::string group = controlGroup();
    auto tell = Pipe::make();
    auto life = Pipe::make();
    if (group.empty() || !tell || !life)
        return std::nullopt;
    pid_t child = fork();
    if (child < 0)
        return std::nullopt;
    if (child == 0)
        becomePlaceholder(tell->writeEnd.get(), life->readEnd.get());
    tell->writeEnd.reset();
    pid_t placeholder = -1;
    bool told = read(tell->readEnd.get(), &placeholder, sizeof placeholder) == sizeof placeholder && placeholder > 0;
    waitpid(child, nullptr, 0);
    if (!told)
        return std::nullopt;
    UnitPlaceholder made(placeholder, std::move(life->writeEnd));
    std::vector<pid_t> others = processesOf(group);
    std::erase(others, placeholder);
    if (others.empty() || !orderScope(others) || !isMovedFrom(group))
        return std::nullopt;
    return made;
}

} // namespace mv
