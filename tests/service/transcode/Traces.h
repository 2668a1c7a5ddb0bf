#pragma once

#include "tests/service/transcode/MadeSound.h"

namespace mv::test {

/// What can be seen of each frame of a file.
struct Trace {
    const char* name;
    std::vector<double> values;
};

/// Of what a shell command writes: a line for each frame, and in it a number for each name.
std::vector<Trace> tracesOf(const std::string& command, const std::vector<const char*>& names);
/// In decibels, of so many values a frame; of silence, that of one step.
Trace energyOf(const Signal& heard, std::size_t frameValues);
/// The largest step from one frame to the next, to one from `begin` on and before `end`.
double largestStep(const Trace& trace, std::size_t begin, std::size_t end);

} // namespace mv::test
