#include "system/RunningPrograms.h"

#include "Base/Core/Handle.h"

#include <cstdint>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace mv {

namespace {

using Folder = std::unique_ptr<DIR, CloseWith<closedir>>;

constexpr std::string_view BusVariable = "DBUS_SESSION_BUS_ADDRESS";
constexpr std::string_view RuntimeVariable = "XDG_RUNTIME_DIR";

/// Empty when the file cannot be read.
std::string contentOf(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return { std::istreambuf_iterator<char>(in), {} };
}

std::vector<std::string> stringsIn(std::string_view text)
{
    std::vector<std::string> strings;
    while (!text.empty()) {
        std::size_t end = text.find('\0');
        strings.emplace_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return strings;
}

std::string valueOf(std::string_view name, const std::vector<std::string>& environment)
{
    for (const std::string& entry : environment) {
        if (entry.size() > name.size() && entry.starts_with(name) && entry[name.size()] == '=')
            return entry.substr(name.size() + 1);
    }
    return {};
}

/// The address of the message bus that a process's session has: what the environment names, else the user's own.
std::string sessionOf(const std::vector<std::string>& environment)
{
    std::string address = valueOf(BusVariable, environment);
    return address.empty() ? "unix:path=" + valueOf(RuntimeVariable, environment) + "/bus" : address;
}

std::vector<std::string> ownEnvironment()
{
    std::vector<std::string> environment;
    for (char** entry = environ; entry && *entry; ++entry)
        environment.emplace_back(*entry);
    return environment;
}

bool isFile(const std::string& path, const struct stat& file)
{
    struct stat facts { };
    return stat(path.c_str(), &facts) == 0 && facts.st_dev == file.st_dev && facts.st_ino == file.st_ino;
}

std::string fileName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

/// The file name of the program that a script's first line asks for; empty for a binary.
std::string interpreterOf(const std::string& executable)
{
    std::ifstream in(executable, std::ios::binary);
    std::string mark(2, '\0');
    if (!in.read(mark.data(), 2) || mark != "#!")
        return {};
    std::string line;
    std::getline(in, line);
    std::istringstream words(line);
    std::string word;
    words >> word;
    if (fileName(word) == "env") {
        while (words >> word && (word.starts_with('-') || word.find('=') != std::string::npos)) { }
    }
    return fileName(word);
}

/// A script's process is its interpreter, which has the script behind it, maybe with an option in between.
bool runsScript(const std::string& process, const std::string& interpreter, const struct stat& file)
{
    std::vector<std::string> words = stringsIn(contentOf(process + "/cmdline"));
    if (words.empty() || fileName(words[0]) != interpreter)
        return false;
    for (std::size_t i = 1; i < words.size() && i <= 2; ++i) {
        if (isFile(words[i].starts_with('/') ? words[i] : process + "/cwd/" + words[i], file))
            return true;
    }
    return false;
}

} // namespace

std::vector<std::int32_t> runningProcesses()
{
    std::vector<std::int32_t> processes;
    Folder folder(opendir("/proc"));
    while (dirent* entry = folder ? readdir(folder.get()) : nullptr) {
        if (entry->d_name[0] >= '1' && entry->d_name[0] <= '9')
            processes.push_back(std::atoi(entry->d_name));
    }
    return processes;
}

bool isProgramRunning(const std::string& executable)
{
    struct stat file { };
    if (stat(executable.c_str(), &file) != 0)
        return false;
    std::string interpreter = interpreterOf(executable);
    std::string session = sessionOf(ownEnvironment());
    for (std::int32_t id : runningProcesses()) {
        std::string process = "/proc/" + std::to_string(id);
        struct stat facts { };
        if (stat(process.c_str(), &facts) != 0 || facts.st_uid != geteuid())
            continue;
        bool runs = interpreter.empty() ? isFile(process + "/exe", file) : runsScript(process, interpreter, file);
        if (runs && sessionOf(stringsIn(contentOf(process + "/environ"))) == session)
            return true;
    }
    return false;
}

} // namespace mv
