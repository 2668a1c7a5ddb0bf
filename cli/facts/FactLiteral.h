#pragma once

#include "cli/facts/FactField.h"

namespace mv::cli {

/// A number as a condition has it, in the unit of its field. What is written less precisely than values are means a
/// range of them: a day, a second.
struct NumberLiteral {
    double first = 0;
    double last = 0;
    double tolerance = 0; ///< so far from the range a value still counts as equal

    bool isAbove(double value) const { return value < first; }
    bool isBelow(double value) const { return value > last; }
    bool equals(double value) const { return value >= first - tolerance && value <= last + tolerance; }
};

/// Takes plain numbers in the field's unit, and what people write besides: "3:05" and "90s" of lengths, "128k" of bit
/// rates, "10MB" of sizes, "2026-01-31" of times, "1/250" of exposures. Fails with a sentence that says what is taken.
Result<NumberLiteral> numberLiteral(const FactField& field, std::string_view text);

/// True for "2010", "2010-05", "2010-05-04", and with a time behind it "2010-05-04T17:01" or "2010-05-04T17:01:35".
bool isDateLiteral(std::string_view text);

} // namespace mv::cli
