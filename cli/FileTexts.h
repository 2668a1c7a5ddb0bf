#pragma once

#include "Base/Core/Result.h"
#include "cli/Arguments.h"
#include "client/ServiceBus.h"

#include <string>

namespace mv::cli {

/// What is printed of one file.
using FileText = Result<std::string> (*)(ServiceBus& bus, const std::string& file, bool json);

/// Prints the text of every file in turn; a file without one is a complaint and the exit status 1, and the rest goes
/// on.
int printFileTexts(const char* command, const Arguments& arguments, FileText textOf);

} // namespace mv::cli
