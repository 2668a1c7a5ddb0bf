#pragma once

#include "service/job/MediaJob.h"

namespace mv {

/// The thumbnail of a picture, of a song's front cover, or of a frame of a video. Where no reader knows the file, where
/// there is nothing to make one of, and where that cannot be decoded, the problem.
MediaResult makeMediaThumbnail(const OpenedFile& file, const ThumbnailWish& wish);

} // namespace mv
