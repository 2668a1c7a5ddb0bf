#pragma once

#include "arguments/Program.h"

#include <string>
#include <vector>

namespace mv {

/// mivo-thumbnailer as its help and its manual have it.
Program thumbnailerProgram();

/// Makes the thumbnail that the words behind the program's own name ask for. 0; 1 after a line on standard error that
/// says why there is none; 2 after one that says what is wrong with the words.
///
/// It needs no bus, no network and no settings, and does in a desktop's sandbox what it does outside.
int runThumbnailer(const std::vector<std::string>& words);

} // namespace mv
