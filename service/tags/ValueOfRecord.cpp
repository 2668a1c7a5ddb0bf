#include "service/tags/ValueOfRecord.h"

#include "Base/Core/NSException.h"
#include "Base/Media/MediaDB.h"

namespace mv {

const std::string& textOfValue(std::string_view key, const Value& value)
{
    if (const std::string* text = value.string())
        return *text;
    throw NSException(NSInvalidArgumentException, "the value of " + std::string(key) + " is no string");
}

std::int32_t integerOfValue(std::string_view key, const Value& value)
{
    if (auto integer = value.integerValue())
        return *integer;
    throw NSException(
        NSInvalidArgumentException, "the value of " + std::string(key) + " is neither a number nor a string");
}

Path pathOrRecordPath(const Path& path, const Record& record)
{
    if (!path.isNil())
        return path;
    const std::string* text = record.string(MediaDBCommonColumnFilePath);
    return text ? Path(*text) : Path();
}

} // namespace mv
