#include "service/job/Requests.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "service/job/FileCode.h"

#include <bit>

namespace mv {

namespace {

// Keys of replies.
constexpr std::string_view Flag = "flag";
constexpr std::string_view Outcome = "outcome";
constexpr std::string_view Failure = "failure-";

Error wrong(const char* what) { return { Error::Kind::Format, formatText("a request with %s", what) }; }

} // namespace

bool isQuestion(RequestKind kind)
{
    return kind == RequestKind::IsWritable || kind == RequestKind::OutputAttributes
        || kind == RequestKind::CanHoldOutput;
}

Bytes encodeRequest(const Request& request)
{
    Bytes bytes;
    ByteWriter out(bytes);
    out.u8(static_cast<std::uint8_t>(request.kind));
    out.u32le(static_cast<std::uint32_t>(request.number));
    out.u32le(std::bit_cast<std::uint32_t>(request.percent));
    return bytes;
}

Result<Request> decodeRequest(ByteView bytes)
{
    ByteReader in(bytes);
    std::uint8_t kind = in.u8();
    auto number = static_cast<std::int32_t>(in.u32le());
    auto percent = std::bit_cast<float>(in.u32le());
    if (in.failed() || !in.atEnd() || kind < 1 || kind > static_cast<std::uint8_t>(LastRequestKind))
        return wrong("no kind, or of another length");
    return Request { static_cast<RequestKind>(kind), number, percent };
}

Record replyOfFlag(bool flag) { return { { Flag, flag } }; }

bool flagOf(const Record& reply) { return reply.boolean(Flag).value_or(false); }

Record replyOfDone(const Result<void>& done)
{
    Record reply;
    if (!done)
        setError(reply, Failure, done.error());
    return reply;
}

Result<void> doneOf(const Record& reply)
{
    if (auto error = errorOf(reply, Failure))
        return *error;
    return {};
}

Record replyOfOutcome(const Result<FileReplacement::Outcome>& outcome)
{
    Record reply;
    if (outcome)
        reply.set(Outcome, static_cast<std::int32_t>(*outcome));
    else
        setError(reply, Failure, outcome.error());
    return reply;
}

Result<FileReplacement::Outcome> outcomeOf(const Record& reply)
{
    MV_TRY_VOID(doneOf(reply));
    constexpr auto Replaced = FileReplacement::Outcome::Replaced;
    return reply.integer(Outcome) == static_cast<std::int32_t>(Replaced) ? Replaced
                                                                         : FileReplacement::Outcome::Unchanged;
}

} // namespace mv
