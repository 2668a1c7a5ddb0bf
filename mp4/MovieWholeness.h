#pragma once

#include "mp4/Box.h"

namespace mv {

/// Whether nothing in the movie box says that it is longer than its place: boxes on the way to the sample tables,
/// entries of the sample descriptions, rows of the tables. Readers that read past a place which is too short get on
/// with what follows by luck; it is other bytes when the movie box lies elsewhere.
bool isWholeMovie(StructureReader& reader, const Box& movie);

} // namespace mv
