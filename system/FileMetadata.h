#pragma once

#include "Base/Core/Result.h"

namespace mv {

/// Gives the file behind `to` the owner (where permitted), extended attributes, ACL and mode of the one behind `from`.
/// Attributes that only a privileged process may set are left out silently; a user attribute, an ACL or a mode
/// that cannot be set is an error.
Result<void> copyFileMetadata(int from, int to);

} // namespace mv
