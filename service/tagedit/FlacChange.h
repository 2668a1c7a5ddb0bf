#pragma once

#include "service/job/TagChanges.h"
#include "service/tagedit/Splices.h"
#include "system/ByteSource.h"

namespace mv {

/// What becomes of a FLAC file: of its comments, its picture blocks, its padding, and of ID3 tags around it. Every
/// other block keeps its place and its bytes, and the sound moves only where the padding is too small.
Result<Splices> flacSplices(const ByteSource& file, const TagChanges& changes);

} // namespace mv
