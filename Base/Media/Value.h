#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Date.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace mv {

/// The platform's null object: a value that says "this field is empty".
struct NullObject {
    bool operator==(const NullObject&) const = default;
};

/// A value of a kind that no rule has a use for: a list, a dictionary, a structure. What it held is not kept.
struct OtherKind {
    bool operator==(const OtherKind&) const = default;
};

/// One value of a record. Integers are 32-bit, but for a file's size, which is 64-bit.
class Value {
public:
    using Storage
        = std::variant<NullObject, bool, std::int32_t, std::int64_t, double, std::string, Date, Bytes, OtherKind>;

    Value() = default;
    Value(const Value&) = default;
    // Not inline: where g++ 12 sees a variant of so many kinds moved, it warns of kinds that are not in it.
    Value(Value&& other) noexcept;
    Value& operator=(const Value&) = default;
    Value& operator=(Value&&) = default;
    ~Value() = default;
    Value(NullObject) { }
    Value(OtherKind value)
        : m_storage(value)
    {
    }
    Value(bool value)
        : m_storage(value)
    {
    }
    Value(std::int32_t value)
        : m_storage(value)
    {
    }
    Value(std::int64_t value)
        : m_storage(value)
    {
    }
    Value(double value)
        : m_storage(value)
    {
    }
    Value(std::string value)
        : m_storage(std::move(value))
    {
    }
    Value(std::string_view value)
        : m_storage(std::string(value))
    {
    }
    Value(const char* value)
        : m_storage(std::string(value))
    {
    }
    Value(Date value)
        : m_storage(value)
    {
    }
    Value(Bytes value)
        : m_storage(std::move(value))
    {
    }

    const Storage& storage() const { return m_storage; }

    bool isNull() const { return std::holds_alternative<NullObject>(m_storage); }
    bool isOtherKind() const { return std::holds_alternative<OtherKind>(m_storage); }
    /// The value when it is of exactly that kind, else null.
    const std::string* string() const { return std::get_if<std::string>(&m_storage); }
    const Bytes* data() const { return std::get_if<Bytes>(&m_storage); }
    const Date* date() const { return std::get_if<Date>(&m_storage); }
    const bool* boolean() const { return std::get_if<bool>(&m_storage); }
    const double* real() const { return std::get_if<double>(&m_storage); }

    /// True for integers, floating-point numbers and booleans.
    bool isNumber() const;
    /// The value as a 32-bit integer, as the platform's number and string objects give it: integers lose their
    /// high bits, a floating-point number its fraction (out of range: the nearest 32-bit integer), a flag is 0 or 1,
    /// a string is read by leadingInteger. Nothing for the other kinds.
    std::optional<std::int32_t> integerValue() const;
    /// The value as a flag: a number that is not 0. Nothing for what is no number.
    std::optional<bool> booleanValue() const;

    bool operator==(const Value&) const = default;

private:
    Storage m_storage;
};

} // namespace mv
