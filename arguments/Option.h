#pragma once

#include "arguments/Values.h"

namespace mv {

/// An option of a program or of one of its commands. One with a value takes it as "--name VALUE" or "--name=VALUE".
struct Option {
    const char* name; ///< without the dashes
    const char* value; ///< what stands for the value in the help; null for an option without one
    const char* help; ///< names the words of a choice, the bounds of a number and what holds without the option
    char letter = 0; ///< its short form, "-s VALUE" where it has a value; 0 for none
    Values values = {}; ///< what its value can be
    bool repeats = false; ///< may be given several times, and each counts; else the last one does
};

} // namespace mv
