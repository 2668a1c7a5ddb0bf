#pragma once

#include "mp4/MovieFacts.h"

#include <string_view>

namespace mv {

/// FFmpeg's short name of what a track's first sample description says; empty for one that is not known.
std::string_view soundCodecOf(const TrackFacts& track);
std::string_view pictureCodecOf(const TrackFacts& track);

} // namespace mv
