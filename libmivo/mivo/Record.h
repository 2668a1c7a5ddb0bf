#pragma once

#include <mivo/Value.h>

#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace mivo {

class RecordContent;

/// Values by their keys, which mivo/Keys.h names: what describes a file, a thumbnail, camera facts, changes of a tag,
/// attributes of an encoder. A later version may put more keys into a record.
class MIVO_API Record {
public:
    using Entries = std::map<std::string, Value, std::less<>>;

    Record();
    Record(std::initializer_list<std::pair<std::string_view, Value>> entries);
    Record(const Record& other);
    Record(Record&& other) noexcept;
    Record& operator=(const Record& other);
    Record& operator=(Record&& other) noexcept;
    ~Record();

    /// The null value when the key is missing; valid until the record changes.
    const Value& operator[](std::string_view key) const noexcept;
    bool contains(std::string_view key) const noexcept;
    bool empty() const noexcept { return entries().empty(); }

    /// Adds the key or replaces its value.
    Record& set(std::string_view key, Value value);
    /// False when there was none.
    bool remove(std::string_view key);

    const Entries& entries() const noexcept;
    Entries::const_iterator begin() const noexcept { return entries().begin(); }
    Entries::const_iterator end() const noexcept { return entries().end(); }

    bool operator==(const Record& other) const noexcept { return entries() == other.entries(); }
    bool operator!=(const Record& other) const noexcept { return entries() != other.entries(); }

private:
    std::unique_ptr<RecordContent> m_content; // null is empty
};

} // namespace mivo
