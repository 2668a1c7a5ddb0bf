#pragma once

#include <mivo/Export.h>

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace mivo {

/// A moment: microseconds since 1970-01-01 00:00:00 UTC, negative before it.
struct Date {
    using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::microseconds>;

    long long microseconds = 0;

    static Date from(TimePoint time) { return Date { time.time_since_epoch().count() }; }
    TimePoint timePoint() const { return TimePoint(std::chrono::microseconds(microseconds)); }

    bool operator==(const Date& other) const { return microseconds == other.microseconds; }
    bool operator!=(const Date& other) const { return microseconds != other.microseconds; }
};

/// The content of a picture, for instance.
using Bytes = std::vector<unsigned char>;

class ValueContent;

/// One value of a record: a shared, unchangeable content, so a copy is cheap and threads may read one at the same time.
/// What a value is not, it reads as the fallback: nothing here throws but for want of memory.
class MIVO_API Value {
public:
    enum class Kind {
        Null, ///< nothing; among changes of a tag: the field is to be emptied
        Boolean,
        Integer,
        Real,
        Text, ///< UTF-8
        Date,
        Data, ///< bytes, of a picture for instance
        Other, ///< of a kind that this version does not know; what it held is not kept
        Texts, ///< a list of texts, as facts have it
    };

    Value() noexcept;
    Value(bool value);
    Value(int value);
    Value(long value);
    Value(long long value);
    Value(double value);
    Value(const char* text); ///< null where the pointer is
    Value(std::string text);
    Value(std::string_view text);
    Value(mivo::Date date);
    Value(mivo::Bytes data);
    Value(std::vector<std::string> texts);
    /// A pointer is no boolean.
    template <class T, class = std::enable_if_t<!std::is_same_v<std::remove_cv_t<T>, char>>> Value(T* pointer) = delete;

    Value(const Value& other) noexcept;
    Value(Value&& other) noexcept;
    Value& operator=(const Value& other) noexcept;
    Value& operator=(Value&& other) noexcept;
    ~Value();

    Kind kind() const noexcept;
    bool isNull() const noexcept { return kind() == Kind::Null; }

    /// Of a boolean, or whether a number is another than 0.
    bool boolean(bool fallback = false) const noexcept;
    /// Of a number; a real one loses its fraction, and one that is out of range is the nearest that is not.
    long long integer(long long fallback = 0) const noexcept;
    /// Of a number.
    double real(double fallback = 0) const noexcept;
    /// Of a text, or the first of texts; empty when this is neither. Valid as long as the value.
    const std::string& text() const noexcept;
    /// Of texts; a text is none. Valid as long as the value.
    const std::vector<std::string>& texts() const noexcept;
    mivo::Date date(mivo::Date fallback = {}) const noexcept;
    /// Empty when this is no data; valid as long as the value.
    const mivo::Bytes& data() const noexcept;

    /// Equal kind and content.
    bool operator==(const Value& other) const noexcept;
    bool operator!=(const Value& other) const noexcept { return !(*this == other); }

private:
    friend class ValueContent;

    std::shared_ptr<const ValueContent> m_content; // null stands for Null
};

} // namespace mivo
