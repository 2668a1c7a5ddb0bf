#include "client/WholePath.h"

#include "Base/Core/Text.h"

#include <filesystem>

namespace mv {

namespace {

Error problem(const char* text) { return { Error::Kind::NotFound, text }; }

} // namespace

Result<std::string> wholePath(const std::string& name)
{
    if (name.empty())
        return problem("an empty name is no file");
    if (name.find('\0') != std::string::npos)
        return problem("the name holds a zero byte");
    if (!isValidUtf8(name))
        return problem("the name is not UTF-8, and the service takes no other; rename the file first");
    if (name.starts_with('/'))
        return name;
    std::error_code failure;
    auto folder = std::filesystem::current_path(failure);
    if (failure)
        return problem("the working folder is gone");
    if (!isValidUtf8(folder.native()))
        return problem("the name of the working folder is not UTF-8, and the service takes no other");
    return (folder / name).native();
}

} // namespace mv
