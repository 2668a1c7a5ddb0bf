#pragma once

#include "Base/Media/Record.h"

#include <string>
#include <vector>

namespace mv::test {

// An endless row of small MP3 files whose tags hold what tags hold in the wild, and what they should not. Each has a
// number and is the same on every machine.

/// Versions 2.2 to 2.4 and unknown ones, known, unknown and odd frames, every encoding and what claims to be one,
/// flags, extended headers, padding, damage; ID3v1, Lyrics3 and tags at the end, alone and beside them.
std::string randomTagFile(unsigned number);

/// What an update of the file of that number may ask for.
Record randomTagChange(unsigned number);

/// The pictures of the files' covers that can be drawn.
const std::vector<std::string>& coverPictures();

} // namespace mv::test
