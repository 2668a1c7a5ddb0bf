#pragma once

#include "Base/Core/Result.h"
#include "id3/TagReader.h"

#include <cstdint>

namespace mv {

/// Where a rewritten ID3v2 tag lies: always at the front, in place of all tags that are there.
struct Id3TagLayout {
    std::uint64_t oldSize = 0; ///< of the tags at the front that go
    std::uint64_t newSize = 0; ///< of the new one with header and padding; 0 for none
};

/// The size of the new tag for frames of `frameBytes` bytes (at most MaxTagBytes; none: no tag). It
/// stays as it is when the frames fit and leave no great waste; else it grows or shrinks by whole blocks, so that file
/// systems which share blocks still can share the audio's. Fails with Unsupported when the present tags cannot be
/// replaced without losing what nobody has read: a version that is not known, or a size beyond the file or the reader's
/// bounds.
Result<Id3TagLayout> layOutTag(const TagSet& tags, std::size_t frameBytes);

/// The tag: header, frames of that version, zeros up to `size`.
Bytes tagBytes(ByteView frames, std::uint64_t size, int version = 3);

} // namespace mv
