#pragma once

#include "facts/reading/TagPictures.h"
#include "id3/TagReader.h"
#include "system/ByteSource.h"

namespace mv {

/// The tags of a file that rank behind ID3v2: APE, then Lyrics3, then ID3v1.
void addOldTags(TagSink& sink, const TagSet& tags, const ByteSource& source);

} // namespace mv
