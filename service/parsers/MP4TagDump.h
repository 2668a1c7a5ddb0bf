#pragma once

#include "mp4/Tags.h"

#include <cstdio>

namespace mv {

/// Prints one line for every field that is there, pictures with the address of their bytes in memory.
void dumpTags(const MP4Tags& tags, std::FILE* out);

} // namespace mv
