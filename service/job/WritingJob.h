#pragma once

#include "Base/Core/Handle.h"
#include "Base/Media/Record.h"
#include "service/include/EncodingWish.h"
#include "service/job/RaisedException.h"
#include "system/OpenedFile.h"

#include <cstdint>
#include <variant>

namespace mv {

/// What a service makes or changes, as a job of another process. That process gets no name and, of a file that is
/// changed, nothing to write into: it asks the host for each step (Requests.h).
enum class WritingOperation : std::uint8_t {
    UpdateTag = 1,
    EncodeMp3,
    ConvertToAac,
    ExportMovie,
    EncodeSound, ///< for the interface for new programs: to any format, with the tags
    SetTags,
};
inline constexpr WritingOperation LastWritingOperation = WritingOperation::SetTags;

/// True for what changes the file that it is given, and has nothing else to write into.
constexpr bool changesItsFile(WritingOperation operation)
{
    return operation == WritingOperation::UpdateTag || operation == WritingOperation::SetTags;
}

/// Of SetTags: the key of a record whose data is as of encodeTagChanges.
inline constexpr std::string_view TagChangesColumn = "changes";

/// One call.
struct WritingJob {
    WritingOperation operation {};
    OpenedFile file; ///< the input, or the file whose tag is updated
    Path output; ///< what messages call the place of what is made
    Record record; ///< the tag's new values, or the attributes of the encoder
    std::int32_t bitrate = 0; ///< of a conversion
    bool hasDelegate = false; ///< of a conversion and an export
    int debugLevel = 0; ///< the process that runs the job has no settings of its own
    EncodingWish encoding {}; ///< of EncodeSound
};

/// A job as bytes; the file's content, where it has one, goes beside them as a descriptor.
Bytes encodeWritingJob(const WritingJob& job);
/// The same job, with `content` as its file's. Format for bytes that encodeWritingJob does not write.
Result<WritingJob> decodeWritingJob(ByteView bytes, UniqueFd content);

/// What an operation gave: whether it went well (tags, MP3), an OSStatus (conversions, exports), the number of a
/// MediaErrorKind or 0 (EncodeSound), or an exception.
using WritingAnswer = std::variant<bool, std::int32_t, RaisedException>;

Bytes encodeWritingAnswer(const WritingAnswer& answer);
/// An answer to that operation from bytes that nobody vouches for. Format for one of another kind.
Result<WritingAnswer> decodeWritingAnswer(WritingOperation operation, ByteView bytes);

} // namespace mv
