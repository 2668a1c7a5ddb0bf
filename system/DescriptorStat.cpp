#include "system/DescriptorStat.h"

#include <sys/syscall.h>
#include <unistd.h>

namespace mv {

int statDescriptor(int fd, struct stat& facts)
{
    // Where a long has 64 bits the kernel's form is the C library's.
#if defined(SYS_fstat) && defined(__LP64__)
    return static_cast<int>(syscall(SYS_fstat, fd, &facts));
#else
    return fstat(fd, &facts);
#endif
}

} // namespace mv
