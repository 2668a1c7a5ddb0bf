#pragma once

#include "Base/Core/Handle.h"
#include "Base/Core/Path.h"

#include <fcntl.h>
#include <sys/types.h>

namespace mv {

/// open() for what may stand in a folder that others have filled. A link there may lead to this process itself, to a
/// file without a name that it has open (/proc/self/fd): such links are not followed (ELOOP). Invalid with errno set
/// where nothing was opened.
UniqueFd openUserFile(const Path& path, int flags, mode_t mode = 0);

/// Whether a path leads through a link that the kernel makes up, as those of open files are (/dev/stdout is one).
bool leadsThroughKernel(const Path& path);

/// Whether an open file is of a file system that shows what the kernel and its processes are: nobody's music. `device`
/// is the one that stat() tells of it.
bool isOfKernel(int fd, dev_t device);

} // namespace mv
