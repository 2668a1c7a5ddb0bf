#include "facts/Facts.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

namespace mv {

void Facts::set(std::string_view key, FactValue value)
{
    auto row = factRowOf(key);
    assert(row && FactRows[*row].type == typeOf(value));
    if (!row)
        return;
    auto same = [&](const Entry& entry) { return entry.first == key; };
    auto place = std::find_if(m_entries.begin(), m_entries.end(), same);
    if (place != m_entries.end())
        place->second = std::move(value);
    else
        m_entries.emplace_back(FactRows[*row].key, std::move(value));
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
    for (const Entry& entry : m_entries) {
        if (entry.first == key)
            return &entry.second;
    }
    return nullptr;
}

void Facts::sort()
{
    std::sort(m_entries.begin(), m_entries.end(),
        [](const Entry& a, const Entry& b) { return factRowOf(a.first) < factRowOf(b.first); });
}

} // namespace mv
