#pragma once

#include "cli/facts/FactField.h"

#include <array>

namespace mv::cli {

enum class FactForm { Text, Json, JsonLines, Csv, Tsv };
/// In the order of FactForm.
inline constexpr std::array<const char*, 5> FactFormNames { "text", "json", "jsonl", "csv", "tsv" };

/// Why a file could not be described.
struct FactFailure {
    std::string sentence; ///< for people
    std::string name = {}; ///< of the D-Bus error; empty where the service was not asked
};

/// Writes descriptions in one form: begin(), then items with between() between them, then end(). Safe on several
/// threads at once.
///
/// JSON has whole keys ("xesam:artist"), values in the types and units of FactRows, and always the path. Tables have
/// the names of the fields in a line of heads, and values as plainValue writes them.
class FactWriter {
public:
    struct Wish {
        FactForm form = FactForm::Text;
        FactFields fields = {}; ///< in this order; none means what the form has by itself
        std::vector<std::string> heads = {}; ///< of a table's columns, one for each field; none means the fields' names
        bool emphasised = false; ///< names of files in a text
        bool formulaSafe = false; ///< no cell of a CSV table is a formula
        bool forTerminal = false; ///< a table's control characters are shown, not sent
    };

    explicit FactWriter(Wish wish)
        : m_wish(std::move(wish))
    {
    }

    std::string begin() const;
    std::string item(const DescribedFile& file) const;
    /// Empty in forms that have no place for failures.
    std::string failure(const std::string& path, const FactFailure& failure) const;
    std::string between() const;
    std::string end() const;

private:
    std::string jsonItem(const DescribedFile& file) const;
    template <class Line> std::string headLine() const;
    template <class Line> std::string tableLine(const DescribedFile& file) const;
    const FactFields& columns() const { return m_wish.fields.empty() ? allFields() : m_wish.fields; }

    Wish m_wish;
};

/// A value as JSON: strings, lists of strings, numbers, true and false.
std::string jsonFact(const FactValue& value);

} // namespace mv::cli
