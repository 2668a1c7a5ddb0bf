#include "service/job/PlanCode.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "service/job/FileCode.h"
#include "service/job/RecordCode.h"

namespace mv {

namespace {

constexpr std::string_view Failure = "failure-";

// The kinds of a plan's messages, as their first byte.
constexpr std::uint8_t Nothing = 0;
constexpr std::uint8_t SomeSegments = 1; // more come
constexpr std::uint8_t LastSegments = 2;
constexpr std::uint8_t NoPlan = 3;
// And of a verdict.
constexpr std::uint8_t Sound = 1;
constexpr std::uint8_t Unsound = 2;

constexpr std::uint8_t Copy = 'c';
constexpr std::uint8_t Literal = 'l';

constexpr std::size_t MaxPartBytes = std::size_t { 4 } << 20;
// A line of the log has room for it.
constexpr std::size_t MaxErrorText = 1000;

Error wrong(const char* what) { return { Error::Kind::Format, formatText("a plan with %s", what) }; }

Error notAVerdict() { return { Error::Kind::Format, "a verdict of no kind" }; }

Bytes failureBytes(std::uint8_t kind, const Error& error)
{
    Bytes bytes { kind };
    Record record;
    setError(record, Failure, { error.kind, std::string(truncatedUtf8(error.text, MaxErrorText)), error.code });
    encodeRecord(record, bytes);
    return bytes;
}

/// Nothing for bytes that failureBytes does not write.
std::optional<Error> failureOf(ByteView bytes)
{
    auto record = decodeRecord(bytes);
    auto error = record ? errorOf(*record, Failure) : std::nullopt;
    return error && error->text.size() <= MaxErrorText ? error : std::nullopt;
}

/// Gathers segments up to a message's length.
class PartWriter {
public:
    explicit PartWriter(const std::function<Result<void>(ByteView)>& send)
        : m_send(send)
        , m_out(m_part)
    {
        begin();
    }

    Result<void> copy(const FileSegment& segment)
    {
        m_out.u8(Copy);
        m_out.u64be(segment.offset);
        m_out.u64be(segment.length);
        return flushWhenFull();
    }
    Result<void> literal(ByteView bytes)
    {
        while (!bytes.empty()) {
            ByteView piece = bytes.first(std::min(bytes.size(), MaxPartBytes));
            m_out.u8(Literal);
            m_out.u32be(static_cast<std::uint32_t>(piece.size()));
            m_out.bytes(piece);
            bytes = bytes.subspan(piece.size());
            MV_TRY_VOID(flushWhenFull());
        }
        return {};
    }
    Result<void> finish()
    {
        m_part.front() = LastSegments;
        return m_send(m_part);
    }

private:
    void begin()
    {
        m_part.clear();
        m_out.u8(SomeSegments);
    }
    Result<void> flushWhenFull()
    {
        if (m_part.size() < MaxPartBytes)
            return {};
        MV_TRY_VOID(m_send(m_part));
        begin();
        return {};
    }

    const std::function<Result<void>(ByteView)>& m_send;
    Bytes m_part;
    ByteWriter m_out;
};

} // namespace

Bytes encodeFileSize(std::uint64_t size)
{
    Bytes bytes;
    ByteWriter(bytes).u64le(size);
    return bytes;
}

Result<std::uint64_t> decodeFileSize(ByteView bytes)
{
    ByteReader in(bytes);
    std::uint64_t size = in.u64le();
    if (in.failed() || !in.atEnd())
        return Error { Error::Kind::Format, "a size of no size" };
    return size;
}

Result<void> encodePlan(const PlannedContent& plan, const std::function<Result<void>(ByteView)>& send)
{
    if (!plan)
        return send(failureBytes(NoPlan, plan.error()));
    if (!*plan)
        return send(Bytes { Nothing });
    PartWriter writer(send);
    for (const FileSegment& segment : **plan)
        MV_TRY_VOID(segment.isCopy ? writer.copy(segment) : writer.literal(segment.bytes));
    return writer.finish();
}

Result<bool> PlanDecoder::add(ByteView message)
{
    ByteReader in(message);
    std::uint8_t kind = in.u8();
    if (kind == SomeSegments || kind == LastSegments) {
        MV_TRY_VOID(addSegments(in.rest()));
        if (kind == LastSegments)
            m_plan = std::optional(std::move(m_content));
        return kind == LastSegments;
    }
    if (in.failed() || !m_content.empty())
        return wrong("a part of no kind");
    if (kind == Nothing && in.atEnd())
        return true;
    auto failure = kind == NoPlan ? failureOf(in.rest()) : std::nullopt;
    if (!failure)
        return wrong("a part of no kind");
    m_plan = *failure;
    return true;
}

Result<void> PlanDecoder::addSegments(ByteView bytes)
{
    ByteReader in(bytes);
    while (!in.atEnd() && !in.failed()) {
        if (m_content.size() == std::min<std::uint64_t>(MaxSegments, FewSegments + m_fileSize / BytesOfSegment))
            return Error { Error::Kind::Limit, "a plan of too many stretches" };
        std::uint8_t kind = in.u8();
        if (kind == Copy) {
            std::uint64_t offset = in.u64be();
            MV_TRY_VOID(addCopy(offset, in.u64be()));
        } else if (kind == Literal) {
            MV_TRY_VOID(addLiteral(in.take(in.u32be())));
        } else {
            return wrong("a stretch of no kind");
        }
    }
    return in.failed() ? Result<void>(wrong("a stretch that is not there")) : Result<void> {};
}

Result<void> PlanDecoder::addCopy(std::uint64_t offset, std::uint64_t length)
{
    if (offset < m_copiedTo || offset > m_fileSize || length > m_fileSize - offset)
        return wrong("a stretch that is not of the file, or there twice");
    m_copiedTo = offset + length;
    m_content.push_back(FileSegment::copy(offset, length));
    return {};
}

Result<void> PlanDecoder::addLiteral(ByteView bytes)
{
    if (bytes.size() > MaxLiteralBytes - m_literalBytes)
        return Error { Error::Kind::Limit, "a plan with too much that is new" };
    m_literalBytes += bytes.size();
    m_content.push_back(FileSegment::literal(Bytes(bytes.begin(), bytes.end())));
    return {};
}

Bytes encodeVerdict(const Result<void>& verdict)
{
    return verdict ? Bytes { Sound } : failureBytes(Unsound, verdict.error());
}

Result<std::optional<Error>> decodeVerdict(ByteView bytes)
{
    if (bytes.size() == 1 && bytes[0] == Sound)
        return std::optional<Error> {};
    auto failure = !bytes.empty() && bytes[0] == Unsound ? failureOf(bytes.subspan(1)) : std::nullopt;
    if (!failure)
        return notAVerdict();
    return failure;
}

} // namespace mv
