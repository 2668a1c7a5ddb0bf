#pragma once

#include "Base/Core/Result.h"

#include <string>

namespace mv {

/// The whole path of a file that somebody names, or a sentence that says why the service cannot be told of it: an empty
/// name, a zero byte, a name that is not UTF-8. The service has a working folder of its own, so it gets whole paths
/// only. Nothing is asked of the file.
Result<std::string> wholePath(const std::string& name);

} // namespace mv
