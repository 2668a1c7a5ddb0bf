#pragma once

#include "Base/Core/Result.h"
#include "cli/ExitStatus.h"
#include "thumbnailer/ThumbnailCache.h"

#include <string>
#include <vector>

namespace mv::cli {

/// The sizes that a list of names asks for, in order of size; "all" is every one.
Result<std::vector<ThumbnailSize>> thumbnailSizesFrom(const std::string& names);

/// Puts thumbnails of the media files in the folders, and below them, into the user's cache, and prints how many. Files
/// with valid thumbnails are left alone, those that failed before are named and not tried again. An interruption ends
/// it after the files that are being read.
ExitStatus cacheThumbnails(const std::vector<std::string>& folders, const std::vector<ThumbnailSize>& sizes);

} // namespace mv::cli
