#pragma once

#include "Base/Media/Record.h"
#include "system/FileReplacement.h"

#include <cstdint>

// What a writing job asks of the host while it runs, as bytes. A request names a role, never a file: the file whose
// tag is updated, the place of what is made, the client's delegate.

namespace mv {

enum class RequestKind : std::uint8_t {
    // Of the file that is changed: the job's own, or the one of EditOutput.
    IsWritable = 1,
    Replace, ///< with Plan and Check before the reply

    // Of the place for what is made.
    OutputAttributes,
    CanHoldOutput,
    ClearOutput,
    CreateOutput, ///< the reply brings the descriptor of a file without a name
    CommitOutput,
    OpenOutputInPlace, ///< the reply brings a descriptor
    EditOutput, ///< the reply brings a file; IsWritable and Replace speak of it from then on

    // Of the delegate of an encoding.
    Started,
    ShouldStop,
    Progress, ///< percent
    Failed, ///< number: the code
    Ended,

    // Of the delegate of a conversion or an export.
    ShouldGoOn, ///< number: percent
};
inline constexpr RequestKind LastRequestKind = RequestKind::ShouldGoOn;

/// True for what changes nothing, and may be asked again by another worker.
bool isQuestion(RequestKind kind);

struct Request {
    RequestKind kind {};
    std::int32_t number = 0;
    float percent = 0;
};

Bytes encodeRequest(const Request& request);
/// Format for bytes that encodeRequest does not write. Numbers are any.
Result<Request> decodeRequest(ByteView bytes);

/// Replies are records. These have a flag, an outcome or an error; FileCode.h has what else they say.
Record replyOfFlag(bool flag);
bool flagOf(const Record& reply);
Record replyOfDone(const Result<void>& done);
Result<void> doneOf(const Record& reply);
Record replyOfOutcome(const Result<FileReplacement::Outcome>& outcome);
Result<FileReplacement::Outcome> outcomeOf(const Record& reply);

} // namespace mv
