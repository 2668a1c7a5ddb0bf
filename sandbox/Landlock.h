#pragma once

#include "Base/Core/Result.h"

namespace mv {

/// What the kernel made of the wish to close the file system.
enum class LandlockState {
    Closed,
    Missing, ///< no Landlock in this kernel, or not switched on
};

/// Denies this process every access by name for good: files and folders and, where the kernel can, the network,
/// abstract sockets and signals to others. What is open stays open. Needs no_new_privs.
Result<LandlockState> closeByLandlock();

} // namespace mv
