#include "Base/Media/Record.h"

#include <algorithm>

namespace mv {

namespace {

// Ours have 30; a client may send any number.
constexpr std::size_t UnindexedEntries = 64;

} // namespace

Record::Record(std::initializer_list<std::pair<std::string_view, Value>> entries)
{
    for (const auto& [key, value] : entries)
        set(key, value);
}

std::size_t Record::placeOf(std::string_view key) const
{
    if (!m_places.empty()) {
        auto place = m_places.find(key);
        return place == m_places.end() ? m_entries.size() : place->second;
    }
    auto entry = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& e) { return e.first == key; });
    return static_cast<std::size_t>(entry - m_entries.begin());
}

void Record::indexFrom(std::size_t place)
{
    for (; place < m_entries.size(); ++place)
        m_places[m_entries[place].first] = place;
}

void Record::set(std::string_view key, Value value)
{
    std::size_t place = placeOf(key);
    if (place < m_entries.size()) {
        m_entries[place].second = std::move(value);
        return;
    }
    m_entries.emplace_back(std::string(key), std::move(value));
    if (m_entries.size() > UnindexedEntries)
        indexFrom(m_places.empty() ? 0 : place);
}

void Record::remove(std::string_view key)
{
    std::size_t place = placeOf(key);
    if (place == m_entries.size())
        return;
    m_entries.erase(m_entries.begin() + static_cast<std::ptrdiff_t>(place));
    m_places.clear();
    if (m_entries.size() > UnindexedEntries)
        indexFrom(0);
}

void Record::merge(const Record& other)
{
    for (const auto& [key, value] : other)
        set(key, value);
}

const Value* Record::find(std::string_view key) const
{
    std::size_t place = placeOf(key);
    return place < m_entries.size() ? &m_entries[place].second : nullptr;
}

const std::string* Record::string(std::string_view key) const
{
    const Value* value = find(key);
    return value ? value->string() : nullptr;
}

const Bytes* Record::data(std::string_view key) const
{
    const Value* value = find(key);
    return value ? value->data() : nullptr;
}

const Date* Record::date(std::string_view key) const
{
    const Value* value = find(key);
    return value ? value->date() : nullptr;
}

std::optional<double> Record::real(std::string_view key) const
{
    const Value* value = find(key);
    const double* number = value ? value->real() : nullptr;
    return number ? std::optional(*number) : std::nullopt;
}

std::optional<std::int32_t> Record::integer(std::string_view key) const
{
    const Value* value = find(key);
    return value ? value->integerValue() : std::nullopt;
}

std::optional<bool> Record::boolean(std::string_view key) const
{
    const Value* value = find(key);
    return value ? value->booleanValue() : std::nullopt;
}

bool Record::operator==(const Record& other) const
{
    if (size() != other.size())
        return false;
    return std::all_of(begin(), end(), [&](const Entry& entry) {
        const Value* theirs = other.find(entry.first);
        return theirs && *theirs == entry.second;
    });
}

} // namespace mv
