#pragma once

#include "id3/TagReader.h"
#include "service/job/TagChanges.h"
#include "system/ByteSource.h"

namespace mv {

/// What the tags behind ID3v2 (APE, Lyrics3, ID3v1) say of what can be written, as a description has it: their charset
/// is guessed from all of them together.
TagChanges oldTexts(const ByteSource& file, const TagSet& tags);

} // namespace mv
