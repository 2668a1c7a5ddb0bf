#include "cli/OutputFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <unistd.h>

namespace mv::cli {

Result<void> writeFile(const Path& path, ByteView content)
{
    std::string partName = path.text() + ".part-" + std::to_string(getpid());
    std::ofstream part(partName, std::ios::binary | std::ios::trunc);
    part.write(reinterpret_cast<const char*>(content.data()), static_cast<std::streamsize>(content.size()));
    part.close();
    if (part && std::rename(partName.c_str(), path.c_str()) == 0)
        return {};
    Error error { Error::Kind::Io, std::string("cannot be written: ") + std::strerror(errno), errno };
    unlink(partName.c_str());
    return error;
}

} // namespace mv::cli
