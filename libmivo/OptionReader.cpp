#include "libmivo/OptionReader.h"

#include <limits>
#include <mivo/Error.h>

namespace mivo {

void OptionReader::fail(std::string_view key, const std::string& what)
{
    throw Error(Error::Kind::InvalidArgument, "the option " + std::string(key) + " " + what);
}

const Value* OptionReader::take(std::string_view key, Value::Kind kind, const char* name)
{
    m_known.insert(key);
    if (!m_options.contains(key))
        return nullptr;
    const Value& value = m_options[key];
    if (value.kind() != kind)
        fail(key, std::string("is ") + name);
    return &value;
}

std::optional<bool> OptionReader::flag(std::string_view key)
{
    const Value* value = take(key, Value::Kind::Boolean, "a boolean");
    return value ? std::optional(value->boolean()) : std::nullopt;
}

std::optional<std::uint32_t> OptionReader::number(std::string_view key)
{
    const Value* value = take(key, Value::Kind::Integer, "an integer");
    if (!value)
        return std::nullopt;
    if (value->integer() < 0 || value->integer() > std::numeric_limits<std::uint32_t>::max())
        fail(key, "is out of range");
    return static_cast<std::uint32_t>(value->integer());
}

void OptionReader::end() const
{
    for (const auto& [key, value] : m_options) {
        if (!m_known.contains(key))
            fail(key, "is not known");
    }
}

} // namespace mivo
