#pragma once

#include "process/Channel.h"
#include "service/job/Messages.h"
#include "service/job/PlanCode.h"
#include "service/job/WritingJob.h"
#include "system/EditableFile.h"

#include <functional>
#include <optional>

namespace mv {

/// Waits for the worker's next message that is no line of the log. An error is final.
using AwaitFrame = std::function<Result<Frame>()>;

/// What a worker sends at a moment when no honest one does.
Error outOfTurn(const char* what);

/// One replacement of a file by a plan that a worker makes, and after a check that it does. Both get the file by a
/// descriptor through which nobody can write.
class ReplacementTalk {
public:
    /// A message of that kind, with a copy of the descriptor.
    using SendFile = std::function<Result<void>(Message kind, ByteView payload, int descriptor)>;

    /// All references outlive this.
    ReplacementTalk(WritingOperation operation, SendFile sendFile, const AwaitFrame& awaitFrame)
        : m_operation(operation)
        , m_sendFile(std::move(sendFile))
        , m_awaitFrame(awaitFrame)
    {
    }

    Result<FileReplacement::Outcome> replace(EditableFile& file);
    /// Why the worker cannot be talked to any more, or must not. The file is as it was, and nothing was logged.
    const std::optional<Error>& broken() const { return m_broken; }
    /// Where an exception has left the planning or the checking: the job is over with it.
    const std::optional<WritingAnswer>& answer() const { return m_answer; }

private:
    PlannedContent planOf(const InputFile& current);
    Result<void> checkOf(const InputFile& made);
    PlannedContent receivePlan(std::uint64_t fileSize);
    Result<Frame> awaitFrame(Message kind);
    Error breakOff(Error error);

    const WritingOperation m_operation;
    const SendFile m_sendFile;
    const AwaitFrame& m_awaitFrame;
    std::optional<Error> m_broken;
    std::optional<WritingAnswer> m_answer;
};

} // namespace mv
