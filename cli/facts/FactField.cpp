#include "cli/facts/FactField.h"

#include "Base/Core/Text.h"
#include "arguments/Suggestion.h"

#include <algorithm>

namespace mv::cli {

namespace {

struct OtherName {
    std::string_view name;
    std::string_view key;
};

/// What people type for fields whose own names are longer.
constexpr std::array OtherNames {
    OtherName { "track", fact::TrackNumber },
    OtherName { "disc", fact::DiscNumber },
    OtherName { "date", fact::ContentCreated },
    OtherName { "lyrics", fact::AsText },
    OtherName { "bpm", fact::AudioBpm },
};

std::string_view withoutBlanks(std::string_view text)
{
    auto first = std::min(text.find_first_not_of(" \t"), text.size());
    auto last = text.find_last_not_of(" \t");
    return last == std::string_view::npos ? std::string_view() : text.substr(first, last + 1 - first);
}

/// What is longer is no mistyped name.
constexpr std::size_t LongestMistyped = 40;

Error unknownField(std::string_view name)
{
    if (name.size() > LongestMistyped)
        return { Error::Kind::Format, "there is no field of such a long name" };
    std::vector<std::string> known;
    for (const FactField& field : allFields())
        known.emplace_back(field.name());
    for (const OtherName& other : OtherNames)
        known.emplace_back(other.name);
    return { Error::Kind::Format, "there is no field \"" + std::string(name) + "\"" + didYouMean(name, known) };
}

} // namespace

Result<FactField> FactField::named(std::string_view name)
{
    for (const FactField& field : allFields()) {
        if (equalIgnoringAsciiCase(name, field.name()) || equalIgnoringAsciiCase(name, field.key()))
            return field;
    }
    for (const OtherName& other : OtherNames) {
        if (equalIgnoringAsciiCase(name, other.name))
            return FactField(other.key);
    }
    return unknownField(name);
}

std::string_view FactField::name() const
{
    std::string_view whole = key();
    return whole.substr(whole.find(':') + 1);
}

const FactFields& allFields()
{
    static const FactFields All = [] {
        FactFields fields(1);
        for (const FactRow& row : FactRows)
            fields.emplace_back(row.key);
        return fields;
    }();
    return All;
}

Result<FactFields> fieldsFrom(std::string_view names)
{
    FactFields fields;
    for (std::size_t begin = 0; begin <= names.size();) {
        std::size_t end = std::min(names.find(',', begin), names.size());
        MV_TRY(field, FactField::named(withoutBlanks(names.substr(begin, end - begin))));
        fields.push_back(field);
        begin = end + 1;
    }
    return fields;
}

double numberOf(const FactValue& value)
{
    return std::visit(
        [](const auto& one) -> double {
            if constexpr (std::is_arithmetic_v<std::decay_t<decltype(one)>>)
                return static_cast<double>(one);
            else
                return 0;
        },
        value);
}

} // namespace mv::cli
