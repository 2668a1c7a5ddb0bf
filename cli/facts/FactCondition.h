#pragma once

#include "cli/facts/FactLiteral.h"

#include <variant>

namespace mv::cli {

enum class Comparison { Equal, NotEqual, Less, AtMost, Greater, AtLeast, Contains };

/// One thing that is asked of a file: that it has a field, or how a field compares with a value.
class FactCondition {
public:
    /// That the field is known; of a flag, that it is set.
    static FactCondition presence(const FactField& field) { return { field, Comparison::Equal, Presence {} }; }
    /// Fails with a sentence where the field's type knows no such comparison, or takes no such value.
    ///
    /// Numbers compare in the unit of the field (FactLiteral says what may be written), flags with true and false.
    /// Texts compare by their bytes, and `Contains` finds a part whatever its case; a date compares as far as the
    /// literal is written. Of a list one value is enough. What is not known compares with nothing, and NotEqual is the
    /// contrary of Equal.
    static Result<FactCondition> compare(const FactField& field, Comparison comparison, const std::string& literal);

    bool holds(const DescribedFile& file) const;

private:
    struct Presence { };
    struct Text {
        std::string text; ///< folded for Contains
        bool isDate = false;
    };
    using Literal = std::variant<Presence, NumberLiteral, bool, Text>;

    FactCondition(const FactField& field, Comparison comparison, Literal literal)
        : m_field(field)
        , m_comparison(comparison)
        , m_literal(std::move(literal))
    {
    }

    static Result<Literal> literalOf(const FactField& field, Comparison comparison, const std::string& text);
    bool holdsFor(const FactValue& value) const;
    bool holdsForText(const std::string& text) const;
    bool holdsForNumber(double number) const;

    FactField m_field;
    Comparison m_comparison; ///< never NotEqual
    Literal m_literal;
    bool m_isNegated = false;
};

} // namespace mv::cli
