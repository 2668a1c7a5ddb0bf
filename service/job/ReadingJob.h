#pragma once

#include "Base/Core/Handle.h"
#include "Base/Media/Record.h"
#include "service/include/MVExifExtractorBase.h"
#include "service/include/PictureRendering.h"
#include "service/job/RaisedException.h"
#include "service/job/TagDump.h"
#include "system/OpenedFile.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace mv {

/// What a service reads of a file, or the tool for its user, as a job of another process.
enum class ReadingOperation : std::uint8_t {
    DescribeMovie = 1,
    DescribeMp3,
    DescribeMp4,
    DescribeAudio,
    DescribePicture,
    Thumbnail,
    Exif,
    PodcastInfo,
    HasAppleLossless,
    RenderPicture,
    DumpTags,
    Preview,
};
inline constexpr ReadingOperation LastReadingOperation = ReadingOperation::Preview;

/// One call: the operation, the file, and what else it takes.
struct ReadingJob {
    ReadingOperation operation {};
    OpenedFile file;
    FloatSize maximum {}; ///< of a thumbnail; a preview has its width on both sides
    int debugLevel = 0; ///< the process that runs the job has no settings of its own
    PictureRendering rendering {}; ///< of RenderPicture
};

/// A job as bytes; the file's content, where it has one, goes beside them as a descriptor.
Bytes encodeJob(const ReadingJob& job);
/// The same job, with `content` as its file's. Format for bytes that encodeJob does not write.
Result<ReadingJob> decodeJob(ByteView bytes, UniqueFd content);

/// What an operation gave: a record or none, the facts of a picture or none, a flag, an exception, or a tag's fields or
/// none.
using ReadingAnswer
    = std::variant<std::optional<Record>, std::shared_ptr<MVExifInfo>, bool, RaisedException, std::optional<TagDump>>;

Bytes encodeAnswer(const ReadingAnswer& answer);
/// An answer to that operation from bytes that nobody vouches for. Format for one of another kind, and for an exception
/// of a name that no operation raises.
Result<ReadingAnswer> decodeAnswer(ReadingOperation operation, ByteView bytes);

} // namespace mv
