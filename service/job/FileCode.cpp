#include "service/job/FileCode.h"

#include "Base/Core/Text.h"

#include <string>
#include <utility>

namespace mv {

namespace {

constexpr std::string_view PathText = "path";
constexpr std::string_view Size = "size";
constexpr std::string_view Modified = "modified";
constexpr std::string_view Created = "created";
constexpr std::string_view IsRegular = "regular";
constexpr std::string_view IsFolder = "folder";
constexpr std::string_view Device = "device";
constexpr std::string_view Inode = "inode";
constexpr std::string_view AttributesError = "attributes-";
constexpr std::string_view ContentError = "content-";
// Of an error, with a word in front that says what it was of.
constexpr std::string_view Kind = "kind";
constexpr std::string_view Text = "text";
constexpr std::string_view Code = "code";

std::string joined(std::string_view a, std::string_view b) { return std::string(a).append(b); }

std::int64_t longInteger(const Record& record, std::string_view key)
{
    const Value* value = record.find(key);
    const auto* number = value ? std::get_if<std::int64_t>(&value->storage()) : nullptr;
    return number ? *number : 0;
}

Result<SharedSource> contentOf(const Record& record, const Result<FileAttributes>& attributes, UniqueFd fd)
{
    if (auto error = errorOf(record, ContentError))
        return *error;
    if (!fd || !attributes || attributes->size < 0)
        return Error { Error::Kind::NotFound, "no content came with the file" };
    auto size = static_cast<std::uint64_t>(attributes->size);
    return SharedSource(std::make_shared<const InputFile>(InputFile::adopt(std::move(fd), size)));
}

} // namespace

void setError(Record& message, std::string_view of, const Error& error)
{
    message.set(joined(of, Kind), static_cast<std::int32_t>(error.kind));
    message.set(joined(of, Text), cleanedUtf8(error.text));
    message.set(joined(of, Code), error.code);
}

std::optional<Error> errorOf(const Record& message, std::string_view of)
{
    auto kind = message.integer(joined(of, Kind));
    const std::string* text = message.string(joined(of, Text));
    if (!kind || *kind < 0 || *kind > static_cast<std::int32_t>(Error::Kind::State) || !text)
        return std::nullopt;
    return Error { static_cast<Error::Kind>(*kind), *text, message.integer(joined(of, Code)).value_or(0) };
}

void setPath(Record& message, std::string_view key, const Path& path)
{
    if (path.isNil())
        return;
    ByteView text = bytesOf(path.text());
    message.set(key, Bytes(text.begin(), text.end()));
}

Path pathOf(const Record& message, std::string_view key)
{
    const Bytes* text = message.data(key);
    return text ? Path(std::string(charsOf(*text))) : Path();
}

void setAttributes(Record& message, const Result<FileAttributes>& attributes)
{
    if (!attributes) {
        setError(message, AttributesError, attributes.error());
        return;
    }
    message.set(Size, attributes->size);
    message.set(Modified, attributes->modificationDate);
    if (attributes->creationDate)
        message.set(Created, *attributes->creationDate);
    message.set(IsRegular, attributes->isRegularFile);
    message.set(IsFolder, attributes->isDirectory);
    message.set(Device, static_cast<std::int64_t>(attributes->identity.device));
    message.set(Inode, static_cast<std::int64_t>(attributes->identity.inode));
}

Result<FileAttributes> attributesOf(const Record& message)
{
    if (auto error = errorOf(message, AttributesError))
        return *error;
    FileAttributes attributes;
    attributes.size = longInteger(message, Size);
    if (const Date* date = message.date(Modified))
        attributes.modificationDate = *date;
    if (const Date* date = message.date(Created))
        attributes.creationDate = *date;
    attributes.isRegularFile = message.boolean(IsRegular).value_or(false);
    attributes.isDirectory = message.boolean(IsFolder).value_or(false);
    attributes.identity
        = { static_cast<dev_t>(longInteger(message, Device)), static_cast<ino_t>(longInteger(message, Inode)) };
    return attributes;
}

void setFile(Record& message, const OpenedFile& file)
{
    setPath(message, PathText, file.path());
    setAttributes(message, file.attributes());
    if (!file.content())
        setError(message, ContentError, file.content().error());
}

OpenedFile fileOf(const Record& message, UniqueFd content)
{
    Result<FileAttributes> attributes = attributesOf(message);
    Result<SharedSource> source = contentOf(message, attributes, std::move(content));
    return { pathOf(message, PathText), std::move(attributes), std::move(source) };
}

} // namespace mv
