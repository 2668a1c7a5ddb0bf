#include "Base/Core/NSBundle.h"

#include <climits>
#include <cstdlib>
#include <mutex>
#include <sys/auxv.h>
#include <unistd.h>

namespace mv {

namespace {

std::mutex s_overrideLock;
Path s_override; // guarded by s_overrideLock

Path runningExecutable()
{
    char buffer[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer);
    if (length > 0)
        return std::string(buffer, static_cast<std::size_t>(length));
    // A sandbox may show no processes. The system also keeps the name that the program was started by.
    const auto* name = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
    return name && realpath(name, buffer) ? Path(buffer) : Path("");
}

} // namespace

NSBundle NSBundle::mainBundle()
{
    std::lock_guard guard(s_overrideLock);
    if (!s_override.isNil())
        return NSBundle(s_override);
    static const Path executable = runningExecutable();
    return NSBundle(executable);
}

Path NSBundle::pathForResource(std::string_view name, std::string_view type) const
{
    std::string file = std::string(name) + "." + std::string(type);
    Path inFolder = bundlePath().appending("Resources").appending(file);
    Path beside = bundlePath().appending(file);
    if (access(inFolder.c_str(), F_OK) == 0)
        return inFolder;
    return access(beside.c_str(), F_OK) == 0 ? beside : Path();
}

void NSBundle::setMainExecutablePathForTesting(Path path)
{
    std::lock_guard guard(s_overrideLock);
    s_override = std::move(path);
}

} // namespace mv
