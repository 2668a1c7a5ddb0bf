#include "cli/naming/NameFields.h"

#include "Base/Core/Text.h"
#include "cli/facts/FactField.h"

#include <algorithm>

namespace mv::cli {

namespace {

constexpr std::string_view Year = "year";
constexpr std::size_t YearDigits = 4;

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
    if (name == PresentName || name == Year)
        return {};
    MV_TRY(field, FactField::named(name));
    if (field.isPath())
        return Error { Error::Kind::Format, "a path is no part of a name; {name} is the present name" };
    return {};
}

std::optional<std::string> nameFieldValue(std::string_view name, const Facts& facts, std::string_view presentName)
{
    if (name == PresentName)
        return std::string(presentName);
    auto field = FactField::named(name == Year ? fact::ContentCreated : name);
    const FactValue* value = field && !field->isPath() ? facts.find(field->key()) : nullptr;
    if (!value)
        return std::nullopt;
    std::string text = std::visit(ValueText {}, *value);
    if (name == Year)
        text.resize(std::min(text.size(), YearDigits));
    return text.empty() ? std::nullopt : std::optional(std::move(text));
}

} // namespace mv::cli
