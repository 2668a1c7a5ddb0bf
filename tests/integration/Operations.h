#pragma once

#include "bus/Wire.h"

#include <functional>
#include <string>
#include <vector>

namespace mv::test {

/// What the services do with paths that clients hand over: each operation once for each path that it takes.
struct Operation {
    const char* name;
    const char* service;
    const char* interface;
    const char* member;
    const char* extension; ///< of a path that the operation takes, with its dot
    Bytes (*content)(); ///< what a good path leads to
    std::string (*value)(WireReader); ///< the answer as text
    /// Adds the arguments; `other` is a good path for what the table does not vary.
    std::function<void(WireWriter&, const std::string& path, const std::string& other)> arguments;
    Bytes (*otherContent)() = nullptr; ///< null: the other path is an output
};

const std::vector<Operation>& operations();

/// An MP3 file of a title and about a second of sound.
Bytes song();

/// One with the two identifiers of a podcast.
Bytes podcastSong();

} // namespace mv::test
