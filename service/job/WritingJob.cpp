#include "service/job/WritingJob.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "service/job/FileCode.h"
#include "service/job/RecordCode.h"

namespace mv {

namespace {

// Keys of what goes before the call's own record, a record too.
constexpr std::string_view Operation = "operation";
constexpr std::string_view Output = "output";
constexpr std::string_view BitRate = "bitrate";
constexpr std::string_view HasDelegate = "delegate";
constexpr std::string_view DebugLevel = "debug";
constexpr std::string_view Format = "format";
constexpr std::string_view Variable = "vbr";
constexpr std::string_view Quality = "quality";
constexpr std::string_view Tags = "tags";
constexpr std::string_view Cores = "cores";
constexpr std::string_view Mode = "mode";

// The kinds of answers, as their first byte.
constexpr std::uint8_t Flag = 3;
constexpr std::uint8_t Exception = 4;
constexpr std::uint8_t Status = 5;

Error wrong(const char* what) { return { Error::Kind::Format, formatText("a writing job with %s", what) }; }

bool givesFlag(WritingOperation operation)
{
    return changesItsFile(operation) || operation == WritingOperation::EncodeMp3;
}

void setEncoding(Record& facts, const EncodingWish& wish)
{
    facts.set(Format, static_cast<std::int32_t>(wish.format));
    facts.set(BitRate, static_cast<std::int32_t>(wish.bitrate));
    facts.set(Variable, wish.vbr);
    facts.set(Quality, static_cast<std::int32_t>(wish.quality));
    facts.set(Tags, wish.tags);
    facts.set(Cores, static_cast<std::int32_t>(wish.cores));
    if (wish.mode)
        facts.set(Mode, static_cast<std::int32_t>(*wish.mode));
}

template <class Enum> bool isOneOf(std::int32_t number, Enum last)
{
    return number >= 1 && number <= static_cast<std::int32_t>(last);
}

Result<EncodingWish> encodingIn(const Record& facts)
{
    std::int32_t format = facts.integer(Format).value_or(0);
    std::int32_t quality = facts.integer(Quality).value_or(0);
    std::int32_t bitrate = facts.integer(BitRate).value_or(0);
    std::int32_t cores = facts.integer(Cores).value_or(0);
    auto mode = facts.integer(Mode);
    if (!isOneOf(format, LastSoundFormat) || !isOneOf(quality, LastEncodingQuality) || bitrate < 0 || cores < 1
        || cores > static_cast<std::int32_t>(MaxEncodingCores) || (mode && !isOneOf(*mode, LastChannelMode)))
        return wrong("no such encoding");
    return EncodingWish { static_cast<SoundFormat>(format), static_cast<std::uint32_t>(bitrate),
        facts.boolean(Variable).value_or(false), static_cast<EncodingQuality>(quality),
        facts.boolean(Tags).value_or(false), static_cast<std::uint32_t>(cores),
        mode ? std::optional(static_cast<ChannelMode>(*mode)) : std::nullopt };
}

class AnswerEncoder {
public:
    explicit AnswerEncoder(Bytes& out)
        : m_bytes(out)
        , m_out(out)
    {
    }
    void operator()(bool flag)
    {
        m_out.u8(Flag);
        m_out.u8(flag ? 1 : 0);
    }
    void operator()(std::int32_t status)
    {
        m_out.u8(Status);
        m_out.u32le(static_cast<std::uint32_t>(status));
    }
    void operator()(const RaisedException& raised)
    {
        m_out.u8(Exception);
        encodeRaised(raised, m_bytes);
    }

private:
    Bytes& m_bytes;
    ByteWriter m_out;
};

Result<WritingAnswer> raisedOf(ByteView bytes)
{
    MV_TRY(raised, decodeRaised(bytes));
    return WritingAnswer(std::move(raised));
}

} // namespace

Bytes encodeWritingJob(const WritingJob& job)
{
    Record facts { { Operation, static_cast<std::int32_t>(job.operation) }, { BitRate, job.bitrate },
        { HasDelegate, job.hasDelegate }, { DebugLevel, job.debugLevel } };
    if (job.operation == WritingOperation::EncodeSound)
        setEncoding(facts, job.encoding);
    setPath(facts, Output, job.output);
    setFile(facts, job.file);
    Bytes front;
    encodeRecordOfHost(facts, front);
    Bytes bytes;
    ByteWriter out(bytes);
    out.u32le(static_cast<std::uint32_t>(front.size()));
    out.bytes(front);
    encodeRecordOfHost(job.record, bytes);
    return bytes;
}

Result<WritingJob> decodeWritingJob(ByteView bytes, UniqueFd content)
{
    ByteReader in(bytes);
    MV_TRY(facts, decodeRecordOfHost(in.take(in.u32le())));
    MV_TRY(record, decodeRecordOfHost(in.rest()));
    std::int32_t operation = facts.integer(Operation).value_or(0);
    if (operation < 1 || operation > static_cast<std::int32_t>(LastWritingOperation))
        return wrong("no operation");
    EncodingWish encoding;
    if (static_cast<WritingOperation>(operation) == WritingOperation::EncodeSound) {
        MV_TRY(wish, encodingIn(facts));
        encoding = wish;
    }
    return WritingJob { static_cast<WritingOperation>(operation), fileOf(facts, std::move(content)),
        pathOf(facts, Output), std::move(record), facts.integer(BitRate).value_or(0),
        facts.boolean(HasDelegate).value_or(false), facts.integer(DebugLevel).value_or(0), encoding };
}

Bytes encodeWritingAnswer(const WritingAnswer& answer)
{
    Bytes bytes;
    std::visit(AnswerEncoder(bytes), answer);
    return bytes;
}

Result<WritingAnswer> decodeWritingAnswer(WritingOperation operation, ByteView bytes)
{
    ByteReader in(bytes);
    std::uint8_t kind = in.u8();
    if (kind == Exception)
        return raisedOf(in.rest());
    if (kind == Flag && givesFlag(operation) && in.remaining() == 1 && bytes[1] <= 1)
        return WritingAnswer(bytes[1] == 1);
    if (kind == Status && !givesFlag(operation) && in.remaining() == sizeof(std::int32_t))
        return WritingAnswer(static_cast<std::int32_t>(in.u32le()));
    return wrong("an answer to another question");
}

} // namespace mv
