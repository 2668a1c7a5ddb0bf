#include "application/NSFileManager.h"

#include <unistd.h>

namespace mv {

bool NSFileManager::fileExistsAtPath(const Path& path) { return !path.isNil() && access(path.c_str(), F_OK) == 0; }

} // namespace mv
