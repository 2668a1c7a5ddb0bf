#include "libmivo/ValueContent.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <variant>

namespace mivo {

namespace {

using Kind = Value::Kind;

struct KindOf {
    Kind operator()(const mv::NullObject&) const { return Kind::Null; }
    Kind operator()(bool) const { return Kind::Boolean; }
    Kind operator()(std::int32_t) const { return Kind::Integer; }
    Kind operator()(std::int64_t) const { return Kind::Integer; }
    Kind operator()(double) const { return Kind::Real; }
    Kind operator()(const std::string&) const { return Kind::Text; }
    Kind operator()(const mv::Date&) const { return Kind::Date; }
    Kind operator()(const mv::Bytes&) const { return Kind::Data; }
    Kind operator()(const mv::OtherKind&) const { return Kind::Other; }
};

/// A type to which every number converts.
template <class Number> struct NumberIn {
    Number fallback;

    template <class Content> Number operator()(const Content& content) const
    {
        if constexpr (std::is_arithmetic_v<Content>)
            return static_cast<Number>(content);
        else
            return fallback;
    }
};

long long nearestInteger(double value, long long fallback)
{
    // The largest of the type is no double; this is the smallest one that is too large.
    constexpr double TooLarge = 9223372036854775808.0;
    if (std::isnan(value))
        return fallback;
    if (value >= TooLarge)
        return std::numeric_limits<long long>::max();
    if (value < -TooLarge)
        return std::numeric_limits<long long>::min();
    return static_cast<long long>(value);
}

/// An integer is 32 bits wide on the way to the service wherever it fits.
mv::Value integerValue(long long value)
{
    if (value >= std::numeric_limits<std::int32_t>::min() && value <= std::numeric_limits<std::int32_t>::max())
        return mv::Value(static_cast<std::int32_t>(value));
    return mv::Value(std::int64_t { value });
}

} // namespace

Value::Value() noexcept = default;
Value::Value(bool value)
    : Value(ValueContent::wrapped(mv::Value(value)))
{
}
Value::Value(int value)
    : Value(ValueContent::wrapped(integerValue(value)))
{
}
Value::Value(long value)
    : Value(ValueContent::wrapped(integerValue(value)))
{
}
Value::Value(long long value)
    : Value(ValueContent::wrapped(integerValue(value)))
{
}
Value::Value(double value)
    : Value(ValueContent::wrapped(mv::Value(value)))
{
}
Value::Value(const char* text)
    : Value(text ? ValueContent::wrapped(mv::Value(text)) : Value())
{
}
Value::Value(std::string text)
    : Value(ValueContent::wrapped(mv::Value(std::move(text))))
{
}
Value::Value(std::string_view text)
    : Value(ValueContent::wrapped(mv::Value(text)))
{
}
Value::Value(mivo::Date date)
    : Value(ValueContent::wrapped(mv::Value(mv::Date { date.microseconds })))
{
}
Value::Value(mivo::Bytes data)
    : Value(ValueContent::wrapped(mv::Value(std::move(data))))
{
}

Value::Value(std::vector<std::string> texts)
    : m_content(std::make_shared<const ValueContent>(std::move(texts)))
{
}

Value::Value(const Value& other) noexcept = default;
Value::Value(Value&& other) noexcept = default;
Value& Value::operator=(const Value& other) noexcept = default;
Value& Value::operator=(Value&& other) noexcept = default;
Value::~Value() = default;

Kind Value::kind() const noexcept
{
    if (!m_content)
        return Kind::Null;
    return m_content->texts ? Kind::Texts : std::visit(KindOf {}, m_content->value.storage());
}

bool Value::boolean(bool fallback) const noexcept
{
    return m_content ? m_content->value.booleanValue().value_or(fallback) : fallback;
}

long long Value::integer(long long fallback) const noexcept
{
    if (!m_content)
        return fallback;
    if (const double* real = m_content->value.real())
        return nearestInteger(*real, fallback);
    return std::visit(NumberIn<long long> { fallback }, m_content->value.storage());
}

double Value::real(double fallback) const noexcept
{
    return m_content ? std::visit(NumberIn<double> { fallback }, m_content->value.storage()) : fallback;
}

const std::string& Value::text() const noexcept
{
    static const std::string None;
    if (!texts().empty())
        return texts().front();
    const std::string* text = m_content ? m_content->value.string() : nullptr;
    return text ? *text : None;
}

const std::vector<std::string>& Value::texts() const noexcept
{
    static const std::vector<std::string> None;
    return m_content && m_content->texts ? *m_content->texts : None;
}

Date Value::date(mivo::Date fallback) const noexcept
{
    const mv::Date* date = m_content ? m_content->value.date() : nullptr;
    return date ? mivo::Date { date->microseconds } : fallback;
}

const Bytes& Value::data() const noexcept
{
    static const mivo::Bytes None;
    const mv::Bytes* data = m_content ? m_content->value.data() : nullptr;
    return data ? *data : None;
}

bool Value::operator==(const Value& other) const noexcept
{
    if (m_content == other.m_content)
        return true;
    return m_content && other.m_content && m_content->value == other.m_content->value
        && m_content->texts == other.m_content->texts;
}

} // namespace mivo
