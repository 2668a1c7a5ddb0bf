#include "cli/collection/FileStamp.h"

#include <sys/stat.h>

namespace mv::cli {

std::optional<FileStamp> FileStamp::of(const std::string& path)
{
    struct stat facts { };
    if (stat(path.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode))
        return std::nullopt;
    return FileStamp { static_cast<std::uint64_t>(facts.st_size), facts.st_mtim.tv_sec,
        static_cast<std::uint32_t>(facts.st_mtim.tv_nsec), facts.st_ino };
}

} // namespace mv::cli
