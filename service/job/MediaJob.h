#pragma once

#include "Base/Core/Handle.h"
#include "Base/Core/Result.h"
#include "facts/Facts.h"
#include "service/include/MediaErrors.h"
#include "service/include/ThumbnailWish.h"
#include "system/OpenedFile.h"

#include <cstdint>
#include <variant>
#include <vector>

namespace mv {

enum class MediaOperation : std::uint8_t {
    Describe = 1, ///< several files
    DescribeWithPictures, ///< one
    Thumbnail, ///< one
};

/// A job on files for the interface for new programs. Of a file the other process gets the content, its size and the
/// last element of its name.
struct MediaJob {
    MediaOperation operation {};
    int debugLevel = 0;
    ThumbnailWish thumbnail {};
    std::vector<OpenedFile> files; ///< at least one; each has content
};

/// As many as go with one message.
inline constexpr std::size_t MaxMediaFiles = 16;

/// A job as bytes; the files' contents go beside them, in their order, as descriptors.
Bytes encodeMediaJob(const MediaJob& job);
/// The same job with these contents. Format for bytes that encodeMediaJob does not write.
Result<MediaJob> decodeMediaJob(ByteView bytes, std::vector<UniqueFd> contents);

/// Why one file of a job has no result.
enum class MediaProblem : std::uint8_t {
    NotMedia = 1,
    NoPicture,
    TooLarge,
    Failed,
    NeedsMedia, ///< libraries that a light worker does not have
    NoMemory, ///< which an earlier file may have taken
};
inline constexpr MediaProblem LastMediaProblem = MediaProblem::NoMemory;

using MediaResult = std::variant<MediaProblem, Facts, Thumbnail>;

/// The results of a job's files in their order.
Bytes encodeMediaResults(const std::vector<MediaResult>& results);
/// The results of that job from bytes that nobody vouches for: as many as it has files, each of the operation's kind,
/// facts of known keys and kinds, thumbnails that fit. Format otherwise.
Result<std::vector<MediaResult>> decodeMediaResults(const MediaJob& job, ByteView bytes);

} // namespace mv
