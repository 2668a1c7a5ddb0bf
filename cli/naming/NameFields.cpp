#include "cli/naming/NameFields.h"

#include "Base/Core/Text.h"
#include "arguments/Suggestion.h"

#include <algorithm>
#include <array>

namespace mv::cli {

namespace {

struct Nickname {
    std::string_view name;
    std::string_view key;
};

constexpr std::string_view PresentName = "name";
constexpr std::string_view Year = "year";
constexpr std::size_t YearDigits = 4;

constexpr std::array Nicknames {
    Nickname { "track", fact::TrackNumber },
    Nickname { "disc", fact::DiscNumber },
    Nickname { "date", fact::ContentCreated },
    Nickname { Year, fact::ContentCreated },
};

std::string_view lastPart(std::string_view key) { return key.substr(key.find(':') + 1); }

/// Empty for what is no field of a fact.
std::string_view keyOf(std::string_view name)
{
    for (const Nickname& one : Nicknames) {
        if (one.name == name)
            return one.key;
    }
    for (const FactRow& row : FactRows) {
        if (row.key == name || lastPart(row.key) == name)
            return row.key;
    }
    return {};
}

std::string trimmed(std::string_view text)
{
    std::size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string_view::npos)
        return {};
    return std::string(text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1));
}

struct ValueText {
    std::string operator()(const std::string& text) const { return trimmed(text); }
    std::string operator()(const std::vector<std::string>& texts) const
    {
        std::string all;
        for (const std::string& text : texts)
            all += (all.empty() ? "" : ", ") + trimmed(text);
        return all;
    }
    std::string operator()(double number) const { return formatText("%g", number); }
    std::string operator()(bool flag) const { return flag ? "yes" : "no"; }
    template <class Integer> std::string operator()(Integer number) const { return std::to_string(number); }
};

} // namespace

Result<void> checkNameField(std::string_view name)
{
    if (name == PresentName || !keyOf(name).empty())
        return {};
    std::vector<std::string> known { std::string(PresentName) };
    for (const Nickname& one : Nicknames)
        known.emplace_back(one.name);
    for (const FactRow& row : FactRows)
        known.emplace_back(lastPart(row.key));
    return Error { Error::Kind::Format,
        "there is no field \"" + std::string(name) + "\"" + didYouMean(name, known, "\"") };
}

std::optional<std::string> nameFieldValue(std::string_view name, const Facts& facts, std::string_view presentName)
{
    if (name == PresentName)
        return std::string(presentName);
    const FactValue* value = facts.find(keyOf(name));
    if (!value)
        return std::nullopt;
    std::string text = std::visit(ValueText {}, *value);
    if (name == Year)
        text.resize(std::min(text.size(), YearDigits));
    return text.empty() ? std::nullopt : std::optional(std::move(text));
}

} // namespace mv::cli
