#pragma once

#include "Base/Core/Result.h"
#include "movies/MovieDescription.h"
#include "system/ByteSource.h"

namespace mv {

/// Whether the content begins like MP4, QuickTime or one of their kin.
bool beginsLikeIsoMedia(const ByteSource& file);

/// Describes an ISO media file from its boxes alone: some kilobytes of reading whatever its length, and no FFmpeg.
/// Natural size: the largest picture track's, before anything else the enabled ones'.
Result<MovieDescription> describeIsoMedia(const ByteSource& file);

} // namespace mv
