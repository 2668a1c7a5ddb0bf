#pragma once

#include "Base/Media/Value.h"

#include <functional>
#include <initializer_list>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace mv {

/// A dictionary from key strings to values: media information records, thumbnail and podcast dictionaries, encoder
/// attributes. Keeps the order in which keys first came. Look keys up through the constants of MediaDB.h.
class Record {
public:
    using Entry = std::pair<std::string, Value>;

    Record() = default;
    Record(std::initializer_list<std::pair<std::string_view, Value>> entries);

    /// Adds the key or replaces its value.
    void set(std::string_view key, Value value);
    void remove(std::string_view key);
    /// Copies every entry of `other`; keys that it lacks keep their values.
    void merge(const Record& other);

    bool contains(std::string_view key) const { return find(key) != nullptr; }
    /// Null when the key is missing; valid until the record changes.
    const Value* find(std::string_view key) const;

    /// Null or nothing when the key is missing or its value is of another kind.
    const std::string* string(std::string_view key) const;
    const Bytes* data(std::string_view key) const;
    const Date* date(std::string_view key) const;
    std::optional<double> real(std::string_view key) const;
    /// Value::integerValue and Value::booleanValue; nothing when the key is missing.
    std::optional<std::int32_t> integer(std::string_view key) const;
    std::optional<bool> boolean(std::string_view key) const;

    std::size_t size() const { return m_entries.size(); }
    bool empty() const { return m_entries.empty(); }
    auto begin() const { return m_entries.begin(); }
    auto end() const { return m_entries.end(); }

    /// Equal keys with equal values; the order does not count.
    bool operator==(const Record& other) const;

private:
    struct KeyHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view key) const { return std::hash<std::string_view> {}(key); }
    };

    /// size() when the key is missing.
    std::size_t placeOf(std::string_view key) const;
    void indexFrom(std::size_t place);

    std::vector<Entry> m_entries;
    /// Places by key; empty while there are so few entries that looking through them is faster.
    std::unordered_map<std::string, std::size_t, KeyHash, std::equal_to<>> m_places;
};

} // namespace mv
