#include "service/job/ReadingJob.h"

#include "Base/Core/Text.h"
#include "service/job/FileCode.h"
#include "service/job/RecordCode.h"
#include "service/job/RenderingCode.h"

namespace mv {

namespace {

// Keys of a job, which is a record like any other.
constexpr std::string_view Operation = "operation";
constexpr std::string_view Width = "width";
constexpr std::string_view Height = "height";
constexpr std::string_view DebugLevel = "debug";

Error wrong(const char* what) { return { Error::Kind::Format, formatText("a job with %s", what) }; }

// The kinds of answers, as their first byte.
constexpr std::uint8_t Nothing = 0;
constexpr std::uint8_t SomeRecord = 1;
constexpr std::uint8_t SomeFacts = 2;
constexpr std::uint8_t Flag = 3;
constexpr std::uint8_t Exception = 4;
constexpr std::uint8_t SomeFields = 5;

constexpr std::string_view VersionNumber = "versionNumber";
constexpr std::string_view ExifDate = "date";

Record recordOf(const MVExifInfo& info)
{
    Record record;
    for (const ExifTextProperty& property : ExifTextProperties) {
        if (const auto& text = info.*property.field)
            record.set(property.name, *text);
    }
    record.set(VersionNumber, info.versionNumber);
    if (info.date)
        record.set(ExifDate, *info.date);
    return record;
}

std::shared_ptr<MVExifInfo> factsOf(const Record& record)
{
    auto info = std::make_shared<MVExifInfo>();
    for (const ExifTextProperty& property : ExifTextProperties) {
        if (const std::string* text = record.string(property.name))
            info.get()->*property.field = *text;
    }
    info->versionNumber = record.integer(VersionNumber).value_or(0);
    if (const Date* date = record.date(ExifDate))
        info->date = *date;
    return info;
}

class AnswerEncoder {
public:
    explicit AnswerEncoder(Bytes& out)
        : m_out(out)
    {
    }
    void operator()(const std::optional<Record>& record) { put(SomeRecord, record ? &*record : nullptr); }
    void operator()(const std::shared_ptr<MVExifInfo>& info)
    {
        std::optional<Record> facts = info ? std::optional(recordOf(*info)) : std::nullopt;
        put(SomeFacts, facts ? &*facts : nullptr);
    }
    void operator()(bool flag)
    {
        m_out.push_back(Flag);
        m_out.push_back(flag ? 1 : 0);
    }
    void operator()(const RaisedException& raised)
    {
        m_out.push_back(Exception);
        encodeRaised(raised, m_out);
    }
    void operator()(const std::optional<TagDump>& dump)
    {
        m_out.push_back(dump ? SomeFields : Nothing);
        if (dump)
            encodeTagDump(*dump, m_out);
    }

private:
    void put(std::uint8_t kind, const Record* record)
    {
        m_out.push_back(record ? kind : Nothing);
        if (record)
            encodeRecord(*record, m_out);
    }

    Bytes& m_out;
};

Result<ReadingAnswer> raisedOf(ByteView bytes)
{
    MV_TRY(raised, decodeRaised(bytes));
    return ReadingAnswer(std::move(raised));
}

bool givesFlag(ReadingOperation operation) { return operation == ReadingOperation::HasAppleLossless; }
bool givesFacts(ReadingOperation operation) { return operation == ReadingOperation::Exif; }
bool givesFields(ReadingOperation operation) { return operation == ReadingOperation::DumpTags; }
bool givesRecord(ReadingOperation operation)
{
    return !givesFlag(operation) && !givesFacts(operation) && !givesFields(operation);
}

Result<ReadingAnswer> nothingOf(ReadingOperation operation)
{
    if (givesFlag(operation))
        return wrong("no answer");
    if (givesFields(operation))
        return ReadingAnswer(std::optional<TagDump>());
    return givesFacts(operation) ? ReadingAnswer(std::shared_ptr<MVExifInfo>())
                                 : ReadingAnswer(std::optional<Record>());
}

Result<ReadingAnswer> someOf(ReadingOperation operation, std::uint8_t kind, ByteView bytes)
{
    bool isWanted = kind == SomeFacts ? givesFacts(operation) : givesRecord(operation);
    if (!isWanted)
        return wrong("an answer to another question");
    MV_TRY(record, decodeRecord(bytes));
    return kind == SomeFacts ? ReadingAnswer(factsOf(record)) : ReadingAnswer(std::optional(std::move(record)));
}

Result<ReadingAnswer> fieldsOf(ReadingOperation operation, ByteView bytes)
{
    if (!givesFields(operation))
        return wrong("an answer to another question");
    MV_TRY(dump, decodeTagDump(bytes));
    return ReadingAnswer(std::optional(std::move(dump)));
}

Result<ReadingAnswer> flagOf(ReadingOperation operation, ByteView bytes)
{
    if (!givesFlag(operation) || bytes.size() != 1 || bytes[0] > 1)
        return wrong("an answer to another question");
    return ReadingAnswer(bytes[0] == 1);
}

} // namespace

Bytes encodeJob(const ReadingJob& job)
{
    Record record { { Operation, static_cast<std::int32_t>(job.operation) }, { DebugLevel, job.debugLevel },
        { Width, double { job.maximum.width } }, { Height, double { job.maximum.height } } };
    if (job.operation == ReadingOperation::RenderPicture)
        setRendering(record, job.rendering);
    setFile(record, job.file);
    Bytes bytes;
    encodeRecord(record, bytes);
    return bytes;
}

Result<ReadingJob> decodeJob(ByteView bytes, UniqueFd content)
{
    MV_TRY(record, decodeRecord(bytes));
    std::int32_t operation = record.integer(Operation).value_or(0);
    if (operation < 1 || operation > static_cast<std::int32_t>(LastReadingOperation))
        return wrong("no operation");
    return ReadingJob { static_cast<ReadingOperation>(operation), fileOf(record, std::move(content)),
        { static_cast<float>(record.real(Width).value_or(0)), static_cast<float>(record.real(Height).value_or(0)) },
        record.integer(DebugLevel).value_or(0), renderingOf(record) };
}

Bytes encodeAnswer(const ReadingAnswer& answer)
{
    Bytes bytes;
    std::visit(AnswerEncoder(bytes), answer);
    return bytes;
}

Result<ReadingAnswer> decodeAnswer(ReadingOperation operation, ByteView bytes)
{
    if (bytes.empty())
        return wrong("an empty answer");
    ByteView rest = bytes.subspan(1);
    switch (bytes[0]) {
    case Nothing:
        return rest.empty() ? nothingOf(operation) : wrong("more than nothing");
    case SomeRecord:
    case SomeFacts:
        return someOf(operation, bytes[0], rest);
    case Flag:
        return flagOf(operation, rest);
    case Exception:
        return raisedOf(rest);
    case SomeFields:
        return fieldsOf(operation, rest);
    default:
        return wrong("an answer of no kind");
    }
}

} // namespace mv
