#include "facts/Facts.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

namespace mv {

std::size_t Facts::placeOf(std::size_t row) const
{
    static_assert(FactRows.size() <= std::numeric_limits<std::uint8_t>::max());
    return static_cast<std::size_t>(std::lower_bound(m_rows.begin(), m_rows.end(), row) - m_rows.begin());
}

void Facts::set(std::string_view key, FactValue value)
{
    auto row = factRowOf(key);
    assert(row && FactRows[*row].type == typeOf(value));
    if (!row)
        return;
    std::size_t place = placeOf(*row);
    if (place < m_rows.size() && m_rows[place] == *row) {
        m_entries[place].second = std::move(value);
        return;
    }
    m_rows.insert(m_rows.begin() + static_cast<std::ptrdiff_t>(place), static_cast<std::uint8_t>(*row));
    m_entries.insert(
        m_entries.begin() + static_cast<std::ptrdiff_t>(place), Entry { FactRows[*row].key, std::move(value) });
}

void Facts::setUnsigned(std::string_view key, std::uint64_t value)
{
    if (value <= std::numeric_limits<std::uint32_t>::max())
        set(key, static_cast<std::uint32_t>(value));
}

void Facts::setInteger(std::string_view key, std::int64_t value)
{
    using Limits = std::numeric_limits<std::int32_t>;
    if (value >= Limits::min() && value <= Limits::max())
        set(key, static_cast<std::int32_t>(value));
}

void Facts::setReal(std::string_view key, double value)
{
    if (std::isfinite(value))
        set(key, value);
}

const FactValue* Facts::find(std::string_view key) const
{
    auto row = factRowOf(key);
    std::size_t place = row ? placeOf(*row) : m_rows.size();
    return place < m_rows.size() && m_rows[place] == *row ? &m_entries[place].second : nullptr;
}

} // namespace mv
