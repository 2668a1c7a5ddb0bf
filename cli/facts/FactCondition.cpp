#include "cli/facts/FactCondition.h"

#include "Base/Core/Text.h"
#include "cli/facts/TextFolding.h"

#include <algorithm>

namespace mv::cli {

namespace {

struct FlagWord {
    std::string_view word;
    bool value;
};
constexpr std::array FlagWords { FlagWord { "true", true }, FlagWord { "yes", true }, FlagWord { "1", true },
    FlagWord { "false", false }, FlagWord { "no", false }, FlagWord { "0", false } };

bool isText(FactType type) { return type == FactType::Text || type == FactType::Texts; }

Error wrong(const std::string& sentence) { return { Error::Kind::Format, sentence }; }

Result<bool> flagLiteral(const FactField& field, const std::string& text)
{
    for (const FlagWord& one : FlagWords) {
        if (equalIgnoringAsciiCase(one.word, text))
            return bool { one.value };
    }
    return wrong(std::string(field.name()) + " is true or false, not \"" + text + "\"");
}

bool holdsForOrder(Comparison comparison, int order)
{
    switch (comparison) {
    case Comparison::Less:
        return order < 0;
    case Comparison::AtMost:
        return order <= 0;
    case Comparison::Greater:
        return order > 0;
    case Comparison::AtLeast:
        return order >= 0;
    default:
        return order == 0;
    }
}

} // namespace

Result<FactCondition::Literal> FactCondition::literalOf(
    const FactField& field, Comparison comparison, const std::string& text)
{
    std::string name(field.name());
    if (comparison == Comparison::Contains) {
        if (!isText(field.type()))
            return wrong("~ looks into texts, and " + name + " is none");
        return Literal { Text { foldedText(text) } };
    }
    if (field.type() == FactType::Flag) {
        if (comparison != Comparison::Equal)
            return wrong(name + " is true or false, and neither is more than the other");
        MV_TRY(flag, flagLiteral(field, text));
        return Literal { flag };
    }
    if (!isText(field.type())) {
        MV_TRY(number, numberLiteral(field, text));
        return Literal { number };
    }
    bool isDate = field.key() == fact::ContentCreated;
    if (isDate && !isDateLiteral(text))
        return wrong("\"" + text + "\" is no date such as 2010, 2010-05, 2010-05-04 or 2010-05-04T17:01");
    return Literal { Text { text, isDate } };
}

Result<FactCondition> FactCondition::compare(const FactField& field, Comparison comparison, const std::string& literal)
{
    bool isNegated = comparison == Comparison::NotEqual;
    Comparison asked = isNegated ? Comparison::Equal : comparison;
    MV_TRY(value, literalOf(field, asked, literal));
    FactCondition condition(field, asked, std::move(value));
    condition.m_isNegated = isNegated;
    return condition;
}

bool FactCondition::holds(const DescribedFile& file) const
{
    const FactValue* value = file.find(m_field);
    return (value && holdsFor(*value)) != m_isNegated;
}

bool FactCondition::holdsFor(const FactValue& value) const
{
    const bool* flag = std::get_if<bool>(&value);
    if (std::holds_alternative<Presence>(m_literal))
        return !flag || *flag;
    if (flag)
        return *flag == std::get<bool>(m_literal);
    if (auto* text = std::get_if<std::string>(&value))
        return holdsForText(*text);
    if (auto* texts = std::get_if<std::vector<std::string>>(&value))
        return std::ranges::any_of(*texts, [&](const std::string& one) { return holdsForText(one); });
    return holdsForNumber(numberOf(value));
}

bool FactCondition::holdsForText(const std::string& text) const
{
    const Text& literal = std::get<Text>(m_literal);
    if (m_comparison == Comparison::Contains)
        return foldedText(text).find(literal.text) != std::string::npos;
    std::string_view compared = text;
    if (literal.isDate)
        compared = compared.substr(0, literal.text.size());
    return holdsForOrder(m_comparison, compared.compare(literal.text));
}

bool FactCondition::holdsForNumber(double number) const
{
    const auto& literal = std::get<NumberLiteral>(m_literal);
    if (m_comparison != Comparison::Less && m_comparison != Comparison::Greater && literal.equals(number))
        return true;
    int order = literal.isAbove(number) ? -1 : literal.isBelow(number) ? 1 : 0;
    return holdsForOrder(m_comparison, order);
}

} // namespace mv::cli
