#include "service/host/adaptors/TagsOnWire.h"

#include "Base/Core/Text.h"
#include "Base/Media/TagLimits.h"
#include "bus/BusError.h"
#include "service/include/MediaErrors.h"
#include "system/InputFile.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>

namespace mv {

namespace {

[[noreturn]] void failArguments(std::string sentence) { throw BusError(BusErrorInvalidArgs, std::move(sentence)); }

[[noreturn]] void raise(MediaErrorKind kind, const char* sentence)
{
    throw BusError(std::string(MediaErrorPrefix).append(nameOf(kind)), sentence);
}

constexpr std::string_view signatureOf(FactType type)
{
    return type == FactType::Texts ? "as" : type == FactType::Integer ? "i" : "s";
}

TagChanges::Values numberValue(WireReader& in, const std::string& key)
{
    std::int32_t number = in.integer();
    if (number < 0 || number > MaxTagNumber)
        failArguments(formatText("\"%s\" is from 0 to %d", key.c_str(), MaxTagNumber));
    return number == 0 ? TagChanges::Values() : TagChanges::Values { std::to_string(number) };
}

TagChanges::Values valuesOf(WireReader& in, TagKey tag, const std::string& key)
{
    FactType type = typeOf(tag);
    if (type == FactType::Integer)
        return numberValue(in, key);
    TagChanges::Values values;
    if (type == FactType::Texts)
        values = in.strings();
    else
        values.push_back(in.string());
    std::erase(values, std::string());
    if (tag == TagKey::Date && !values.empty() && !isTagDate(values.front()))
        failArguments(formatText("\"%s\" is no date of ISO 8601", key.c_str()));
    return values;
}

/// What the caller has opened, from its beginning.
Bytes contentOf(UniqueFd handle)
{
    int flags = fcntl(handle.get(), F_GETFL);
    if (flags < 0 || (flags & O_PATH) || (flags & O_ACCMODE) == O_WRONLY)
        raise(MediaErrorKind::AccessDenied, "The picture may not be read.");
    struct stat facts { };
    if (fstat(handle.get(), &facts) != 0 || !S_ISREG(facts.st_mode))
        raise(MediaErrorKind::NotRegular, "The picture is no regular file.");
    if (static_cast<std::uint64_t>(facts.st_size) > MaxTagBytes)
        raise(MediaErrorKind::TooLarge, "The picture is larger than can be written.");
    auto file = InputFile::adopt(std::move(handle), static_cast<std::uint64_t>(facts.st_size));
    auto bytes = file.bytesAt(0, file.size());
    if (!bytes)
        raise(MediaErrorKind::Failed, "The picture cannot be read.");
    return std::move(*bytes);
}

Bytes coverOf(WireReader& in, const std::string& signature)
{
    if (signature != "ay" && signature != "h")
        failArguments(formatText("\"%s\" is bytes or a handle", FrontCoverKey.data()));
    Bytes picture = signature == "ay" ? in.bytes() : contentOf(in.handle());
    bool isEmptyList = signature == "ay" && picture.empty();
    if (!isEmptyList && coverMimeType(picture).empty())
        failArguments("a cover is a JPEG or a PNG");
    return picture;
}

/// True for the null object, which takes its key out.
bool isNull(WireReader& in, const std::string& signature, const std::string& key)
{
    if (signature != "g")
        return false;
    if (!in.isNullObject())
        failArguments(formatText("\"%s\" is of another type", key.c_str()));
    return true;
}

} // namespace

TagChanges readTagChanges(WireReader& in)
{
    TagChanges changes;
    in.entries([&](const std::string& key, const std::string& signature) {
        auto tag = tagKeyOf(key);
        if (key == FrontCoverKey) {
            changes.frontCover = isNull(in, signature, key) ? Bytes() : coverOf(in, signature);
        } else if (!tag) {
            in.skip(signature);
        } else if (isNull(in, signature, key)) {
            changes[*tag] = TagChanges::Values();
        } else {
            if (signature != signatureOf(typeOf(*tag)))
                failArguments(formatText("\"%s\" is of another type", key.c_str()));
            changes[*tag] = valuesOf(in, *tag, key);
        }
    });
    return changes;
}

} // namespace mv
