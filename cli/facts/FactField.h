#pragma once

#include "Base/Core/Result.h"
#include "facts/Facts.h"

#include <string>
#include <string_view>
#include <vector>

namespace mv::cli {

/// Something of a described file that has a name: one of its facts, or the path that it was asked for by. A value type.
class FactField {
public:
    /// The path.
    constexpr FactField() = default;
    /// A fact; `key` is one of FactRows'.
    explicit FactField(std::string_view key)
        : m_row(*factRowOf(key))
    {
    }

    /// By the whole key or its last part ("xesam:artist", "artist"), or one of the shorter names that fields have
    /// besides ("track", "date"); upper and lower case are one. Fails with a sentence that names the nearest field.
    static Result<FactField> named(std::string_view name);

    bool isPath() const { return m_row == PathRow; }
    /// "xesam:artist"; "path".
    std::string_view key() const { return isPath() ? PathName : FactRows[m_row].key; }
    /// "artist"; no two fields have the same.
    std::string_view name() const;
    FactType type() const { return isPath() ? FactType::Text : FactRows[m_row].type; }
    /// As FactRows has it: "Hz".
    std::string_view unit() const { return isPath() ? std::string_view() : FactRows[m_row].unit; }

    bool operator==(const FactField&) const = default;

private:
    static constexpr std::size_t PathRow = FactRows.size();
    static constexpr std::string_view PathName = "path";

    std::size_t m_row = PathRow;
};

using FactFields = std::vector<FactField>;

/// The path and every fact, in the order of FactRows.
const FactFields& allFields();

/// Fields by names with commas between, "artist,title,length"; blanks around a name do not count.
Result<FactFields> fieldsFrom(std::string_view names);

/// A file and what is known of it.
class DescribedFile {
public:
    DescribedFile(std::string path, Facts facts)
        : m_path(std::move(path))
        , m_facts(std::move(facts))
    {
    }

    /// As it was asked for; any bytes.
    const std::string& path() const { return *std::get_if<std::string>(&m_path); }
    const Facts& facts() const { return m_facts; }
    /// Null where it is not known.
    const FactValue* find(const FactField& field) const { return field.isPath() ? &m_path : m_facts.find(field.key()); }

private:
    FactValue m_path;
    Facts m_facts;
};

/// Of a number of any type.
double numberOf(const FactValue& value);

} // namespace mv::cli
