#include "system/SystemError.h"

#include <cerrno>
#include <system_error>

namespace mv {

namespace {

Error::Kind kindOf(int code)
{
    switch (code) {
    case ENOENT:
    case ENOTDIR:
        return Error::Kind::NotFound;
    case EACCES:
    case EPERM:
    case EROFS:
        return Error::Kind::Access;
    default:
        return Error::Kind::Io;
    }
}

} // namespace

Error systemError(int code, std::string_view what)
{
    std::string text(what);
    if (!text.empty())
        text += ": ";
    text += std::generic_category().message(code); // strerror is not safe on several threads
    return { kindOf(code), std::move(text), code };
}

} // namespace mv
