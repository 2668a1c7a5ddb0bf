#include "service/isolated/ReplacementTalk.h"

#include "Base/Core/Text.h"

namespace mv {

Error outOfTurn(const char* what) { return { Error::Kind::Format, formatText("%s out of turn", what) }; }

Result<FileReplacement::Outcome> ReplacementTalk::replace(EditableFile& file)
{
    return file.replace([this](const InputFile& current) { return planOf(current); },
        [this](const InputFile& made) { return checkOf(made); });
}

/// Whoever kills the worker says why, in the log, too.
Error ReplacementTalk::breakOff(Error error)
{
    m_broken = std::move(error);
    return { Error::Kind::Cancelled, m_broken->text, m_broken->code };
}

Result<Frame> ReplacementTalk::awaitFrame(Message kind)
{
    auto frame = m_awaitFrame();
    if (!frame)
        return breakOff(frame.error());
    if (frame->kind == kindOf(kind))
        return frame;
    if (frame->kind != kindOf(Message::Answer))
        return breakOff(outOfTurn("a message"));
    auto answer = decodeWritingAnswer(m_operation, frame->payload);
    if (!answer || !std::holds_alternative<RaisedException>(*answer))
        return breakOff(answer ? outOfTurn("an answer") : answer.error());
    m_answer = std::move(*answer);
    return Error { Error::Kind::Cancelled, "an exception" };
}

PlannedContent ReplacementTalk::planOf(const InputFile& current)
{
    MV_TRY(readable, current.openForReadingOnly());
    if (auto sent = m_sendFile(Message::Plan, encodeFileSize(current.size()), readable.get()); !sent)
        return breakOff(sent.error());
    return receivePlan(current.size());
}

PlannedContent ReplacementTalk::receivePlan(std::uint64_t fileSize)
{
    PlanDecoder decoder(fileSize);
    while (true) {
        MV_TRY(frame, awaitFrame(Message::Content));
        auto isWhole = decoder.add(frame.payload);
        if (!isWhole)
            return breakOff(isWhole.error());
        if (*isWhole)
            return decoder.plan();
    }
}

Result<void> ReplacementTalk::checkOf(const InputFile& made)
{
    MV_TRY(readable, made.openForReadingOnly());
    if (auto sent = m_sendFile(Message::Check, encodeFileSize(made.size()), readable.get()); !sent)
        return breakOff(sent.error());
    MV_TRY(frame, awaitFrame(Message::Verdict));
    auto verdict = decodeVerdict(frame.payload);
    if (!verdict)
        return breakOff(verdict.error());
    return *verdict ? Result<void>(**verdict) : Result<void> {};
}

} // namespace mv
