#pragma once

#include "id3/TagReader.h"
#include "service/job/TagChanges.h"
#include "service/tagedit/Splices.h"

namespace mv {

/// What becomes of all tags around a file's sound: the ID3v2 tag at its front, APE and ID3v1 tags, each of those that
/// are there. A new ID3v2 tag is made only where `makesNew`.
///
/// The tags at the end are of less use to readers, but many ask them for what the first tag does not have: named values
/// of theirs change, too, as far as they have room for them. Unsupported where a tag cannot be read whole.
Result<Splices> id3Splices(const ByteSource& file, const TagSet& tags, const TagChanges& changes, bool makesNew);

} // namespace mv
