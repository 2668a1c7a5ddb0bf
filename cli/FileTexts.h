#pragma once

#include "Base/Core/Result.h"
#include "arguments/Arguments.h"
#include "cli/OrderedWork.h"
#include "client/ServiceBus.h"

namespace mv::cli {

/// A file that came to nothing: named with its reason, and for --json as an object with "path" and "error".
WorkResult failedFile(const std::string& file, const Error& error, bool json);

/// What is to be said of a file, on standard output and on standard error.
void emitFile(const char* command, const std::string& output, const std::string& complaint);

/// The text about one file; `json` says in which form.
using FileText = Result<std::string> (*)(ServiceBus& bus, const std::string& file, bool json);
/// Prints a text for each file of the command line; --json asks for JSON.
ExitStatus printFileTexts(const char* command, const Arguments& arguments, FileText textOf);

/// The same for what needs no service.
using LocalFileText = Result<std::string> (*)(const std::string& file, bool json);
ExitStatus printFileTexts(const char* command, const Arguments& arguments, LocalFileText textOf);

} // namespace mv::cli
