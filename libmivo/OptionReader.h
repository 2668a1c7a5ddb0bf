#pragma once

#include <cstdint>
#include <mivo/Record.h>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace mivo {

/// Takes the options of a call out of a record. Raises Error::Kind::InvalidArgument where one is of another kind or out
/// of range.
class OptionReader {
public:
    /// The record outlives the reader.
    explicit OptionReader(const Record& options)
        : m_options(options)
    {
    }

    std::optional<bool> flag(std::string_view key);
    /// From 0 to 2^32 - 1.
    std::optional<std::uint32_t> number(std::string_view key);
    /// What `named` knows by the text.
    template <class Choice>
    std::optional<Choice> choice(std::string_view key, std::optional<Choice> (*named)(std::string_view))
    {
        const Value* value = take(key, Value::Kind::Text, "a text");
        if (!value)
            return std::nullopt;
        auto known = named(value->text());
        if (!known)
            fail(key, "cannot be \"" + value->text() + "\"");
        return known;
    }
    /// Raises an error where an option was not taken.
    void end() const;

private:
    const Value* take(std::string_view key, Value::Kind kind, const char* name);
    [[noreturn]] static void fail(std::string_view key, const std::string& what);

    const Record& m_options;
    std::set<std::string_view> m_known;
};

} // namespace mivo
