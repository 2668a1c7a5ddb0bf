#include "cli/InputPath.h"

#include "client/WholePath.h"

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace mv::cli {

namespace {

Error problem(const std::string& text, int code = 0) { return { Error::Kind::NotFound, text, code }; }

Error isFolder() { return problem("is a folder", EISDIR); }

/// The whole path, with a sentence for who reads names from a pipe.
Result<std::string> wholePathOf(const std::string& argument)
{
    if (argument.find('\0') != std::string::npos)
        return problem("the name holds a zero byte; is --null missing?");
    return wholePath(argument);
}

} // namespace

Result<Path> inputPath(const std::string& argument)
{
    MV_TRY(path, wholePathOf(argument));
    MV_TRY_VOID(checkInput(path));
    return Path(path);
}

Result<void> checkInput(const std::string& path)
{
    struct stat facts { };
    if (stat(path.c_str(), &facts) != 0)
        return problem(errno == ENOENT ? "there is no such file" : std::strerror(errno));
    if (S_ISDIR(facts.st_mode))
        return isFolder();
    if (!S_ISREG(facts.st_mode))
        return problem("is not a regular file");
    if (access(path.c_str(), R_OK) != 0)
        return problem(std::string("cannot be read: ") + std::strerror(errno));
    return {};
}

Result<Path> outputPath(const std::string& argument)
{
    MV_TRY(path, wholePathOf(argument));
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
