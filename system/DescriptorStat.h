#pragma once

#include <sys/stat.h>

namespace mv {

/// fstat() by the system call that takes no name. The C library's own is a call that may take one, which a closed
/// process is refused. 0, or -1 with errno set.
int statDescriptor(int fd, struct stat& facts);

} // namespace mv
