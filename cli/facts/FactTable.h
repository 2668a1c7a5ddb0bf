#pragma once

#include "cli/facts/FactField.h"

namespace mv::cli {

/// A value in a cell of a table: numbers as they are, in the units of FactRows, true and false, several texts with "; "
/// between. Valid UTF-8.
std::string plainValue(const FactValue& value);

/// A line of a CSV table by RFC 4180: a cell with a comma, a quote, an end of a line or a blank at its ends stands in
/// quotes, and lines end with CR and LF.
class CsvLine {
public:
    CsvLine& add(std::string_view cell);
    std::string end() const { return m_text + "\r\n"; }

private:
    std::string m_text;
    bool m_isFirst = true;
};

/// A line of a table whose cells have tabs between: tab, line feed, carriage return and backslash in a cell are \t, \n,
/// \r and \\.
class TsvLine {
public:
    TsvLine& add(std::string_view cell);
    std::string end() const { return m_text + "\n"; }

private:
    std::string m_text;
    bool m_isFirst = true;
};

/// The text with an apostrophe before it where a spreadsheet would take it for a formula.
std::string withoutFormula(std::string text);

} // namespace mv::cli
