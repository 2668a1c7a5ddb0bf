#include "Base/Media/Value.h"

#include "Base/Core/Text.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mv {

namespace {

std::int32_t truncatedToInt32(double value)
{
    if (std::isnan(value))
        return 0;
    double bounded = std::clamp(value, static_cast<double>(std::numeric_limits<std::int32_t>::min()),
        static_cast<double>(std::numeric_limits<std::int32_t>::max()));
    return static_cast<std::int32_t>(bounded);
}

} // namespace

Value::Value(Value&& other) noexcept = default;

bool Value::isNumber() const { return !isNull() && !isOtherKind() && !string() && !data() && !date(); }

std::optional<std::int32_t> Value::integerValue() const
{
    if (const bool* flag = boolean())
        return *flag ? 1 : 0;
    if (auto* narrow = std::get_if<std::int32_t>(&m_storage))
        return *narrow;
    if (auto* wide = std::get_if<std::int64_t>(&m_storage))
        return static_cast<std::int32_t>(*wide);
    if (const double* number = real())
        return truncatedToInt32(*number);
    if (const std::string* text = string())
        return leadingInteger(*text);
    return std::nullopt;
}

std::optional<bool> Value::booleanValue() const
{
    if (const double* number = real())
        return *number != 0;
    if (auto* wide = std::get_if<std::int64_t>(&m_storage))
        return *wide != 0;
    if (isNumber())
        return *integerValue() != 0;
    return std::nullopt;
}

} // namespace mv
