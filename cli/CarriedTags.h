#pragma once

#include "cli/SongTags.h"

#include "Base/Core/Result.h"

namespace mv::cli {

// Give a new file, which nobody else knows yet, the tags of the sound's source.

/// In front of an MP3 file without a tag.
Result<void> writeId3Tags(const Path& file, const SongTags& tags);
/// Into an MPEG-4 file without metadata.
Result<void> writeMp4Tags(const Path& file, const SongTags& tags);

} // namespace mv::cli
