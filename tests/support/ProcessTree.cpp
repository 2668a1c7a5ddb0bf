#include "tests/support/ProcessTree.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace mv::test {

namespace fs = std::filesystem;

namespace {

fs::path folderOf(pid_t process) { return fs::path("/proc") / std::to_string(process); }

/// The number in the line of a file that begins with the name, or -1.
long valueIn(const fs::path& file, const std::string& name)
{
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with(name + ":"))
            return std::atol(line.c_str() + name.size() + 1);
    }
    return -1;
}

bool isProcess(const fs::path& folder)
{
    std::string name = folder.filename();
    return std::all_of(name.begin(), name.end(), [](unsigned char letter) { return std::isdigit(letter); });
}

/// Entries that go while they are read are left out.
std::vector<fs::path> entriesOf(const fs::path& folder)
{
    std::vector<fs::path> entries;
    std::error_code gone;
    for (fs::directory_iterator at(folder, gone), end; !gone && at != end; at.increment(gone))
        entries.push_back(at->path());
    return entries;
}

} // namespace

long statusValue(pid_t process, const std::string& name) { return valueIn(folderOf(process) / "status", name); }

std::vector<pid_t> childrenOf(pid_t process)
{
    std::vector<pid_t> children;
    for (const fs::path& entry : entriesOf("/proc")) {
        pid_t id = isProcess(entry) ? std::atoi(entry.filename().c_str()) : 0;
        if (id > 0 && statusValue(id, "PPid") == process)
            children.push_back(id);
    }
    return children;
}

bool isZombie(pid_t process)
{
    std::ifstream in(folderOf(process) / "stat");
    std::string text;
    std::getline(in, text);
    std::size_t name = text.rfind(") ");
    return name != text.npos && text.compare(name + 2, 1, "Z") == 0;
}

std::size_t descriptorsOf(pid_t process) { return entriesOf(folderOf(process) / "fd").size(); }

long proportionalKiB(pid_t process) { return std::max(0L, valueIn(folderOf(process) / "smaps_rollup", "Pss")); }

long voluntarySwitches(pid_t process)
{
    long sum = 0;
    for (const fs::path& task : entriesOf(folderOf(process) / "task"))
        sum += std::max(0L, valueIn(task / "status", "voluntary_ctxt_switches"));
    return sum;
}

} // namespace mv::test
