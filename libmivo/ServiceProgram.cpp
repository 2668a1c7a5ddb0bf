#include "libmivo/ServiceProgram.h"

#include <cstdlib>
#include <dlfcn.h>
#include <sstream>
#include <unistd.h>

namespace mivo {

namespace {

constexpr const char* Name = "mivo-mediad";
// From the folder of the library: a plain one, and one of an architecture. A build tree is laid out like the first.
constexpr const char* Places[] = { "/../bin/", "/../../bin/" };

bool isProgram(const std::string& path) { return access(path.c_str(), X_OK) == 0; }

/// The folder that this library was loaded from.
std::string ownFolder()
{
    Dl_info own {};
    if (dladdr(reinterpret_cast<const void*>(&installedServiceProgram), &own) == 0 || !own.dli_fname)
        return {};
    std::string path = own.dli_fname;
    auto slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

} // namespace

std::string installedServiceProgram()
{
    std::string folder = ownFolder();
    for (const char* place : Places) {
        std::string program = folder + place + Name;
        if (!folder.empty() && isProgram(program))
            return program;
    }
    const char* path = std::getenv("PATH");
    std::istringstream folders(path ? path : "");
    while (std::getline(folders, folder, ':')) {
        std::string program = folder + "/" + Name;
        // Nothing is started from where this process happens to work.
        if (folder.starts_with('/') && isProgram(program))
            return program;
    }
    return {};
}

} // namespace mivo
