#pragma once

#include "Base/Core/Error.h"
#include "cli/ExitStatus.h"
#include "cli/text/ReadableText.h"

#include <string>
#include <string_view>

namespace mv::cli {

/// "mivo COMMAND: TEXT" on standard error, as one line.
void complain(std::string_view command, std::string_view text);
/// The same about a file.
void complain(std::string_view command, std::string_view file, std::string_view text);

/// Complains of the command line, and says where help is.
ExitStatus misuse(std::string_view command, std::string_view text);

/// True when standard output, or standard error, is a terminal.
bool outputIsTerminal();
bool errorIsTerminal();
/// True when output may be emphasised: a terminal that can, and NO_COLOR is not set to something.
bool outputTakesEmphasis();
/// True when lines on standard error can be drawn anew.
bool errorTakesDrawing();
/// Columns of the terminal behind standard error; 80 where it does not say.
int terminalWidth();

/// Why something failed, here or in the service, as a sentence for people.
std::string sentenceFor(const Error& error);
/// NoService when nobody answers on the bus, else SomeFailed.
ExitStatus statusFor(const Error& error);

} // namespace mv::cli
