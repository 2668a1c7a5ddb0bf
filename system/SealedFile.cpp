#include "system/SealedFile.h"

#include "system/SystemError.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace mv {

Result<UniqueFd> sealedFile(ByteView bytes)
{
    UniqueFd fd(memfd_create("mivo", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (!fd)
        return systemError(errno, "a file in memory");
    // At a place of its own: the descriptor's stays at the start.
    for (std::size_t done = 0; done < bytes.size();) {
        ByteView rest = bytes.subspan(done);
        ssize_t count = pwrite(fd.get(), rest.data(), rest.size(), static_cast<off_t>(done));
        if (count < 0 && errno != EINTR)
            return systemError(errno, "a file in memory");
        done += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    if (fcntl(fd.get(), F_ADD_SEALS, F_SEAL_WRITE | F_SEAL_GROW | F_SEAL_SHRINK | F_SEAL_SEAL) != 0)
        return systemError(errno, "sealing a file in memory");
    return fd;
}

} // namespace mv
