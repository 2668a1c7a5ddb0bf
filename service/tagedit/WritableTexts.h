#pragma once

#include "facts/reading/TagPictures.h"
#include "id3/TagReader.h"
#include "service/job/TagChanges.h"
#include "system/ByteSource.h"

namespace mv {

/// What these tags say of what can be written, as a description has it: the charset of all of them is guessed together.
TagChanges writableTexts(TagSink& sink);

/// The same of the tags behind ID3v2: APE, Lyrics3, ID3v1.
TagChanges oldTexts(const ByteSource& file, const TagSet& tags);

} // namespace mv
