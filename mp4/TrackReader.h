#pragma once

#include "mp4/MovieFacts.h"

namespace mv {

/// Reads the boxes of one trak box, fragments not counted. Damaged or missing ones leave the defaults.
TrackFacts readTrack(StructureReader& reader, const Box& trak);

} // namespace mv
