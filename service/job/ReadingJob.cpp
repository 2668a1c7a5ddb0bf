#include "service/job/ReadingJob.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/NSException.h"
#include "Base/Core/Text.h"
#include "service/job/RecordCode.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

// Keys of a job, which is a record like any other.
constexpr std::string_view Operation = "operation";
constexpr std::string_view PathText = "path";
constexpr std::string_view Width = "width";
constexpr std::string_view Height = "height";
constexpr std::string_view DebugLevel = "debug";
constexpr std::string_view Size = "size";
constexpr std::string_view Modified = "modified";
constexpr std::string_view Created = "created";
constexpr std::string_view IsRegular = "regular";
constexpr std::string_view IsFolder = "folder";
constexpr std::string_view Device = "device";
constexpr std::string_view Inode = "inode";
// Of an error, with one of the two words in front that say what it was of.
constexpr std::string_view AttributesError = "attributes-";
constexpr std::string_view ContentError = "content-";
constexpr std::string_view Kind = "kind";
constexpr std::string_view Text = "text";
constexpr std::string_view Code = "code";

std::string joined(std::string_view a, std::string_view b) { return std::string(a).append(b); }

Error wrong(const char* what) { return { Error::Kind::Format, formatText("a job with %s", what) }; }

void setError(Record& record, std::string_view of, const Error& error)
{
    record.set(joined(of, Kind), static_cast<std::int32_t>(error.kind));
    record.set(joined(of, Text), cleanedUtf8(error.text));
    record.set(joined(of, Code), error.code);
}

std::optional<Error> errorOf(const Record& record, std::string_view of)
{
    auto kind = record.integer(joined(of, Kind));
    const std::string* text = record.string(joined(of, Text));
    if (!kind || *kind < 0 || *kind > static_cast<std::int32_t>(Error::Kind::State) || !text)
        return std::nullopt;
    return Error { static_cast<Error::Kind>(*kind), *text, record.integer(joined(of, Code)).value_or(0) };
}

void setAttributes(Record& record, const FileAttributes& attributes)
{
    record.set(Size, attributes.size);
    record.set(Modified, attributes.modificationDate);
    if (attributes.creationDate)
        record.set(Created, *attributes.creationDate);
    record.set(IsRegular, attributes.isRegularFile);
    record.set(IsFolder, attributes.isDirectory);
    record.set(Device, static_cast<std::int64_t>(attributes.identity.device));
    record.set(Inode, static_cast<std::int64_t>(attributes.identity.inode));
}

std::int64_t longInteger(const Record& record, std::string_view key)
{
    const Value* value = record.find(key);
    const auto* number = value ? std::get_if<std::int64_t>(&value->storage()) : nullptr;
    return number ? *number : 0;
}

Result<FileAttributes> attributesOf(const Record& record)
{
    if (auto error = errorOf(record, AttributesError))
        return *error;
    FileAttributes attributes;
    attributes.size = longInteger(record, Size);
    if (const Date* date = record.date(Modified))
        attributes.modificationDate = *date;
    if (const Date* date = record.date(Created))
        attributes.creationDate = *date;
    attributes.isRegularFile = record.boolean(IsRegular).value_or(false);
    attributes.isDirectory = record.boolean(IsFolder).value_or(false);
    attributes.identity
        = { static_cast<dev_t>(longInteger(record, Device)), static_cast<ino_t>(longInteger(record, Inode)) };
    return attributes;
}

Result<SharedSource> contentOf(const Record& record, const Result<FileAttributes>& attributes, UniqueFd fd)
{
    if (auto error = errorOf(record, ContentError))
        return *error;
    if (!fd || !attributes || attributes->size < 0)
        return Error { Error::Kind::NotFound, "no content came with the job" };
    auto size = static_cast<std::uint64_t>(attributes->size);
    return SharedSource(std::make_shared<const InputFile>(InputFile::adopt(std::move(fd), size)));
}

float realOf(const Record& record, std::string_view key)
{
    const Value* value = record.find(key);
    const double* number = value ? value->real() : nullptr;
    return number ? static_cast<float>(*number) : 0;
}

// The kinds of answers, as their first byte.
constexpr std::uint8_t Nothing = 0;
constexpr std::uint8_t SomeRecord = 1;
constexpr std::uint8_t SomeFacts = 2;
constexpr std::uint8_t Flag = 3;
constexpr std::uint8_t Exception = 4;

constexpr std::string_view VersionNumber = "versionNumber";
constexpr std::string_view ExifDate = "date";
constexpr std::string_view ExceptionName = "name";
constexpr std::string_view ExceptionReason = "reason";

constexpr std::array RaisedNames { NSInvalidArgumentException, NSInternalInconsistencyException, NSGenericException };

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
        Record record { { ExceptionName, raised.name }, { ExceptionReason, cleanedUtf8(raised.reason) } };
        put(Exception, &record);
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

Result<ReadingAnswer> decodeRaised(ByteView bytes)
{
    MV_TRY(record, decodeRecord(bytes));
    const std::string* name = record.string(ExceptionName);
    const std::string* reason = record.string(ExceptionReason);
    if (!name || !reason || std::find(RaisedNames.begin(), RaisedNames.end(), *name) == RaisedNames.end())
        return wrong("an exception that nothing raises");
    return ReadingAnswer(RaisedException { *name, *reason });
}

bool givesFlag(ReadingOperation operation) { return operation == ReadingOperation::HasAppleLossless; }
bool givesFacts(ReadingOperation operation) { return operation == ReadingOperation::Exif; }

Result<ReadingAnswer> nothingOf(ReadingOperation operation)
{
    if (givesFlag(operation))
        return wrong("no answer");
    return givesFacts(operation) ? ReadingAnswer(std::shared_ptr<MVExifInfo>())
                                 : ReadingAnswer(std::optional<Record>());
}

Result<ReadingAnswer> someOf(ReadingOperation operation, std::uint8_t kind, ByteView bytes)
{
    bool isWanted = !givesFlag(operation) && givesFacts(operation) == (kind == SomeFacts);
    if (!isWanted)
        return wrong("an answer to another question");
    MV_TRY(record, decodeRecord(bytes));
    return kind == SomeFacts ? ReadingAnswer(factsOf(record)) : ReadingAnswer(std::optional(std::move(record)));
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
    // A path is bytes, not text.
    if (!job.file.path().isNil()) {
        ByteView path = bytesOf(job.file.path().text());
        record.set(PathText, Bytes(path.begin(), path.end()));
    }
    if (job.file.attributes())
        setAttributes(record, *job.file.attributes());
    else
        setError(record, AttributesError, job.file.attributes().error());
    if (!job.file.content())
        setError(record, ContentError, job.file.content().error());
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
    Path path;
    if (const Bytes* text = record.data(PathText))
        path = std::string(charsOf(*text));
    Result<FileAttributes> attributes = attributesOf(record);
    Result<SharedSource> source = contentOf(record, attributes, std::move(content));
    return ReadingJob { static_cast<ReadingOperation>(operation),
        OpenedFile(std::move(path), std::move(attributes), std::move(source)),
        { realOf(record, Width), realOf(record, Height) }, record.integer(DebugLevel).value_or(0) };
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
        return decodeRaised(rest);
    default:
        return wrong("an answer of no kind");
    }
}

} // namespace mv
