#pragma once

#include "mp4/MovieFacts.h"

namespace mv {

/// Adds what the movie fragments hold to the tracks of a fragmented movie: samples, bytes and duration. Where a track
/// has none (a stream's first segment alone), its duration comes from the segment index, else from mvex/mehd.
/// Reads the headers of every fragment, never their media.
void addFragments(StructureReader& reader, MovieFacts& facts);

} // namespace mv
