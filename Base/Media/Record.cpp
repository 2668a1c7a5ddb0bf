#include "Base/Media/Record.h"

#include <algorithm>

namespace mv {

Record::Record(std::initializer_list<std::pair<std::string_view, Value>> entries)
{
    for (const auto& [key, value] : entries)
        set(key, value);
}

void Record::set(std::string_view key, Value value)
{
    auto entry = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& e) { return e.first == key; });
    if (entry != m_entries.end())
        entry->second = std::move(value);
    else
        m_entries.emplace_back(std::string(key), std::move(value));
}

void Record::remove(std::string_view key)
{
    std::erase_if(m_entries, [&](const Entry& entry) { return entry.first == key; });
}

void Record::merge(const Record& other)
{
    for (const auto& [key, value] : other)
        set(key, value);
}

const Value* Record::find(std::string_view key) const
{
    for (const Entry& entry : m_entries) {
        if (entry.first == key)
            return &entry.second;
    }
    return nullptr;
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
