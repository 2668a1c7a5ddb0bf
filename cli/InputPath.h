#pragma once

#include "Base/Core/Path.h"
#include "Base/Core/Result.h"

#include <string>

namespace mv::cli {

/// The whole path of a file that the service is to read, or a sentence that says why it cannot: a name that is not
/// UTF-8, nothing there, a folder (Error::code is EISDIR), what is no regular file, no permission. The service has a
/// working folder of its own, so it gets whole paths only.
Result<Path> inputPath(const std::string& argument);
/// The same reasons for a path of any bytes.
Result<void> checkInput(const std::string& path);

/// The whole path of a file that the service is to write; its folder must be there.
Result<Path> outputPath(const std::string& argument);

/// True when both name one existing file.
bool sameFile(const Path& first, const Path& second);

} // namespace mv::cli
