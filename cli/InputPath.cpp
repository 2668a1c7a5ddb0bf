#include "cli/InputPath.h"

#include "Base/Core/Text.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace mv::cli {

namespace {

Error problem(const std::string& text, int code = 0) { return { Error::Kind::NotFound, text, code }; }

Error isFolder() { return problem("is a folder", EISDIR); }

Result<std::string> wholePath(const std::string& argument)
{
    if (argument.empty())
        return problem("an empty name is no file");
    if (argument.find('\0') != std::string::npos)
        return problem("the name holds a zero byte; is --null missing?");
    if (!isValidUtf8(argument))
        return problem("the name is not UTF-8, and the service takes no other; rename the file first");
    if (argument.starts_with('/'))
        return argument;
    std::error_code failure;
    auto folder = std::filesystem::current_path(failure);
    if (failure)
        return problem("the working folder is gone");
    if (!isValidUtf8(folder.native()))
        return problem("the name of the working folder is not UTF-8, and the service takes no other");
    return (folder / argument).native();
}

} // namespace

Result<Path> inputPath(const std::string& argument)
{
    MV_TRY(path, wholePath(argument));
    struct stat facts { };
    if (stat(path.c_str(), &facts) != 0)
        return problem(errno == ENOENT ? "there is no such file" : std::strerror(errno));
    if (S_ISDIR(facts.st_mode))
        return isFolder();
    if (!S_ISREG(facts.st_mode))
        return problem("is not a regular file");
    if (access(path.c_str(), R_OK) != 0)
        return problem(std::string("cannot be read: ") + std::strerror(errno));
    return Path(path);
}

Result<Path> outputPath(const std::string& argument)
{
    MV_TRY(path, wholePath(argument));
    struct stat facts { };
    if (stat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode))
        return isFolder();
    std::string folder(Path(path).directory());
    if (stat(folder.c_str(), &facts) != 0 || !S_ISDIR(facts.st_mode))
        return problem("there is no folder " + folder);
    return Path(path);
}

bool sameFile(const Path& first, const Path& second)
{
    struct stat one { };
    struct stat other { };
    return stat(first.c_str(), &one) == 0 && stat(second.c_str(), &other) == 0 && one.st_dev == other.st_dev
        && one.st_ino == other.st_ino;
}

} // namespace mv::cli
