#pragma once

#include "Base/Core/Result.h"
#include "id3/TagReader.h"
#include "service/job/TagChanges.h"

namespace mv {

/// The frames of an ID3v2 tag as it is going to be written.
struct Id3NewTag {
    int version = 4; ///< 3 or 4
    Bytes frames; ///< without header and padding; none where no tag is left

    bool operator==(const Id3NewTag&) const = default;
};

/// The counting tags of the set, as Id3OldFrames makes them one, with the changes; where no tag is there it is v2.4.
/// Frames that are not named keep their bytes. Several values of one frame have a zero between them. Fails with Limit
/// above MaxTagBytes.
///
/// `old` is what the tags behind ID3v2 say. A tag that is new, or of another version than before, has what they alone
/// say, as whoever reads it does not look at the others; of one that is there the half of "3/12" that is not named
/// comes from them where it is nowhere else.
Result<Id3NewTag> changedId3(const TagSet& tags, const TagChanges& changes, const TagChanges& old = {});

/// The new tag with header and padding in place of one of `oldSize` bytes, which it keeps where it fits without great
/// waste.
Bytes id3TagBytes(const Id3NewTag& tag, std::uint64_t oldSize);

} // namespace mv
