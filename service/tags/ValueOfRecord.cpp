#include "service/tags/ValueOfRecord.h"

#include "Base/Core/NSException.h"

namespace mv {

bool hasValueThatIsNoText(const Record& record, std::string_view key)
{
    const Value* value = record.find(key);
    return value && !value->isNull() && !value->string();
}

std::optional<std::int32_t> integerOfRecord(const Record& record, std::string_view key)
{
    const Value* value = record.find(key);
    if (value && value->isNull()) {
        throw NSException(
            NSInvalidArgumentException, "the value of " + std::string(key) + " is neither a number nor a string");
    }
    return value ? value->integerValue() : std::nullopt;
}

} // namespace mv
