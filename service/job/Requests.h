#pragma once

#include "Base/Media/Record.h"
#include "system/FileReplacement.h"

#include <cstdint>
#include <functional>
#include <optional>

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

/// What a plan gave: new content, nothing to leave the file alone, or why there is none.
using PlannedContent = Result<std::optional<FileContent>>;

/// Hands the messages of a plan to `send` until that fails. A long literal becomes several, so that neither side holds
/// a long plan twice.
Result<void> encodePlan(const PlannedContent& plan, const std::function<Result<void>(ByteView)>& send);

/// Puts a plan together from messages that nobody vouches for: copies lie within a file of that size, in its order,
/// without a byte twice, and what is new has bounds. So nothing comes of a plan but the old file's bytes and new ones.
class PlanDecoder {
public:
    /// As many stretches as an honest plan may have: two for each row of a random access table. Their literals: the
    /// largest tag, and a movie box whose tables became wide.
    static constexpr std::size_t MaxSegments = std::size_t { 1 } << 22;
    static constexpr std::size_t MaxLiteralBytes = std::size_t { 384 } << 20;

    explicit PlanDecoder(std::uint64_t fileSize)
        : m_fileSize(fileSize)
    {
    }

    /// True when the plan is whole; an error is final. Limit or Format for what encodePlan does not write.
    Result<bool> add(ByteView message);
    /// Once it is whole.
    PlannedContent plan() { return std::move(m_plan); }

private:
    Result<void> addSegments(ByteView bytes);
    Result<void> addCopy(std::uint64_t offset, std::uint64_t length);
    Result<void> addLiteral(ByteView bytes);

    std::uint64_t m_fileSize;
    std::uint64_t m_copiedTo = 0;
    std::size_t m_literalBytes = 0;
    FileContent m_content;
    PlannedContent m_plan { std::nullopt };
};

/// What a check gave.
Bytes encodeVerdict(const Result<void>& verdict);
/// Nothing where all is well, or why not, as the worker says it. Format for bytes that encodeVerdict does not write.
Result<std::optional<Error>> decodeVerdict(ByteView bytes);

} // namespace mv
