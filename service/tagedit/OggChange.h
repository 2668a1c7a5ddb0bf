#pragma once

#include "service/job/TagChanges.h"
#include "service/tagedit/Splices.h"
#include "system/ByteSource.h"

namespace mv {

/// What the first stream of a file holds behind its headers: how many pages of it, and one number of all their
/// packets, times and places.
struct OggSound {
    std::uint64_t pages = 0;
    std::uint64_t digest = 0;

    bool operator==(const OggSound&) const = default;
};

struct OggPlan {
    Splices splices;
    OggSound sound;
};

/// What becomes of an Ogg file whose first stream is Vorbis or Opus: the pages of its headers are made anew, and where
/// they become more or fewer the later pages of the stream have other numbers. Pages of other streams, and everything
/// behind the end of the stream, stay. Unsupported for other codecs, moving pictures, and headers that share a page
/// with sound.
Result<OggPlan> oggPlan(const ByteSource& file, const TagChanges& changes);

/// The sound of the file's first stream.
Result<OggSound> oggSound(const ByteSource& file);

} // namespace mv
