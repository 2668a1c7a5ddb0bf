#pragma once

#include "cli/ExitStatus.h"
#include "cli/FileNames.h"
#include "cli/ThumbnailPattern.h"

namespace mv::cli {

/// How thumbnails of many files are wanted.
struct ThumbnailFilesWish {
    ThumbnailPattern pattern;
    ThumbnailBox box;
    bool upright = true;
    std::size_t jobs = 1;
};

/// Of --output, --size, --as-stored and --jobs; fails with a sentence where they are not right.
Result<ThumbnailFilesWish> thumbnailFilesWishFrom(const Arguments& arguments);

/// Makes a thumbnail of each file, several at once. Failures are told; the status is the worst of them. What was found
/// in a folder and has no picture is left out.
ExitStatus thumbnailFiles(
    const char* command, const Arguments& arguments, FileNames& names, const ThumbnailFilesWish& wish);

} // namespace mv::cli
