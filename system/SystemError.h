#pragma once

#include "Base/Core/Error.h"

#include <string_view>

namespace mv {

/// The Error for a failed system call's errno: its kind, "what: text of the code", and the code.
Error systemError(int code, std::string_view what = {});

} // namespace mv
