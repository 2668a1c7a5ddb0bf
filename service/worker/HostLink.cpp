#include "service/worker/HostLink.h"

#include "service/job/PlanCode.h"
#include "service/job/RecordCode.h"

namespace mv {

namespace {

Result<HostLink::Reply> replyOf(Frame frame)
{
    MV_TRY(values, decodeRecordOfHost(frame.payload));
    UniqueFd descriptor = frame.descriptors.empty() ? UniqueFd() : std::move(frame.descriptors.front());
    return HostLink::Reply { std::move(values), std::move(descriptor) };
}

Result<InputFile> fileOf(Frame& frame)
{
    if (frame.descriptors.empty())
        return Error { Error::Kind::State, "no file came with the question" };
    // As long as the host has it: one that grows meanwhile must not be planned beyond what the host will read.
    MV_TRY(size, decodeFileSize(frame.payload));
    return InputFile::adopt(std::move(frame.descriptors.front()), size);
}

} // namespace

Error HostLink::broken(const Error& error)
{
    if (!m_broken)
        m_broken = error;
    return *m_broken;
}

Result<void> HostLink::send(Message kind, ByteView payload)
{
    if (m_broken)
        return *m_broken;
    auto sent = m_send(kind, payload);
    return sent ? Result<void> {} : broken(sent.error());
}

Result<Frame> HostLink::receive()
{
    auto frame = m_channel.receive(Channel::NoDeadline, 1);
    if (!frame)
        return broken(frame.error());
    if (!*frame)
        return broken({ Error::Kind::State, "the host is gone" });
    return std::move(**frame);
}

Result<HostLink::Reply> HostLink::ask(const Request& request)
{
    MutexLock hold(m_lock);
    MV_TRY_VOID(send(Message::Request, encodeRequest(request)));
    MV_TRY(frame, receive());
    if (frame.kind != kindOf(Message::Reply))
        return broken({ Error::Kind::Format, "a message that no host sends" });
    return replyOf(std::move(frame));
}

Result<HostLink::Reply> HostLink::replace(const FileReplacement::Plan& plan, const FileReplacement::Check& check)
{
    MutexLock hold(m_lock);
    MV_TRY_VOID(send(Message::Request, encodeRequest({ RequestKind::Replace })));
    while (true) {
        MV_TRY(frame, receive());
        MV_TRY(reply, answer(std::move(frame), plan, check));
        if (reply)
            return std::move(*reply);
    }
}

/// Nothing after a question that was answered.
Result<std::optional<HostLink::Reply>> HostLink::answer(
    Frame frame, const FileReplacement::Plan& plan, const FileReplacement::Check& check)
{
    if (frame.kind == kindOf(Message::Reply)) {
        MV_TRY(reply, replyOf(std::move(frame)));
        return std::optional(std::move(reply));
    }
    if (frame.kind != kindOf(Message::Plan) && frame.kind != kindOf(Message::Check))
        return broken({ Error::Kind::Format, "a message that no host sends" });
    auto file = fileOf(frame);
    if (frame.kind == kindOf(Message::Plan)) {
        auto sendPart = [this](ByteView part) MV_REQUIRES(m_lock) { return send(Message::Content, part); };
        MV_TRY_VOID(encodePlan(file ? plan(*file) : file.error(), sendPart));
    } else {
        Result<void> verdict = file ? check(*file) : file.error();
        MV_TRY_VOID(send(Message::Verdict, encodeVerdict(verdict)));
    }
    return std::optional<Reply> {};
}

} // namespace mv
