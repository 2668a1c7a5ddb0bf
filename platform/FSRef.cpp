#include "platform/FSRef.h"

#include <cerrno>
#include <sys/stat.h>

namespace mv {

OSStatus FSPathMakeRef(const Path& path, FSRef& ref)
{
    if (path.isNil())
        return paramErr;
    struct stat facts { };
    if (stat(path.c_str(), &facts) != 0)
        return errno == EACCES ? permErr : fnfErr;
    ref.path = path;
    return noErr;
}

} // namespace mv
