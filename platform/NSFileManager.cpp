#include "platform/NSFileManager.h"

#include "system/OpenedFile.h"

#include <unistd.h>

namespace mv {

bool NSFileManager::fileExistsAtPath(const Path& path) { return !path.isNil() && access(path.c_str(), F_OK) == 0; }

Result<FileAttributes> NSFileManager::attributesOfItemAtPath(const Path& path) { return attributesAt(path); }

} // namespace mv
