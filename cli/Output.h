#pragma once

#include "cli/ExitStatus.h"

#include <string_view>

namespace mv::cli {

/// Writes to standard output, whole and at once: nothing is kept back, and an interruption waits for the last byte.
/// False when standard output cannot be written, now or before.
bool print(std::string_view text);

/// The same to standard error, where nobody could be told of a failure.
void printToError(std::string_view text);

/// Writes all of the text, continued after interruptions; 0, or the errno of the write that failed.
int writeAll(int fd, std::string_view text);

/// False when a print failed.
bool canPrint();

/// Closes standard output. When something did not get there: the worse of `status` and SomeFailed, after having told
/// why, but for a reader who simply went away.
ExitStatus closeOutput(ExitStatus status);

/// To be called first: a closed standard stream gets a stand-in that takes nothing, so that no file or socket that is
/// opened later is taken for it; a reader that goes away is an error of the write, and not the end of the process.
void prepareStandardStreams();

} // namespace mv::cli
