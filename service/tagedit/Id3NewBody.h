#pragma once

#include "service/job/TagChanges.h"

namespace mv {

// The bodies of new ID3 frames, in the encoding that the version (3 or 4) knows best.

/// Several values have a zero between them.
Bytes newTextBody(int version, const TagChanges::Values& values);
/// No description, and a language that says nothing.
Bytes newCommentBody(int version, const TagChanges::Values& values);
/// The front cover, without a description.
Bytes newCoverBody(ByteView picture);

} // namespace mv
