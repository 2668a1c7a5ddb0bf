#pragma once

#include "Base/Core/Bytes.h"
#include "facts/FactNames.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace mv {

/// The value of a fact; the kinds are FactType's, in its order.
using FactValue = std::variant<std::string, std::vector<std::string>, std::int32_t, std::uint32_t, std::int64_t,
    std::uint64_t, double, bool>;

inline FactType typeOf(const FactValue& value) { return static_cast<FactType>(value.index()); }

/// A picture that a file carries.
struct FactPicture {
    std::uint32_t type = 0; ///< ID3's picture types: 3 is the front cover, 0 "other"
    std::string mimeType; ///< by its first bytes where those tell, else as the file says; may be empty
    std::string description;
    Bytes data; ///< as stored

    bool operator==(const FactPicture&) const = default;
};

inline constexpr std::uint32_t FrontCoverType = 3;
inline constexpr std::uint32_t LastPictureType = 20;
/// More are not given out; the front cover comes first.
inline constexpr std::size_t MaxFactPictures = 16;

/// What is known of one file: values under the keys of FactRows, in the order of the rows, and the pictures that were
/// asked for. Text is UTF-8, valid and without zero bytes. A value type.
class Facts {
public:
    using Entry = std::pair<std::string_view, FactValue>; ///< the key is one of FactRows'

    /// A key that is none, and a value of another type than its row's, are errors of the program. What is there under
    /// the key is replaced.
    void set(std::string_view key, FactValue value);
    /// The same for what comes in other types of integers. Numbers that the type does not hold are not set.
    void setUnsigned(std::string_view key, std::uint64_t value);
    void setInteger(std::string_view key, std::int64_t value);
    /// Not set where it is no finite number.
    void setReal(std::string_view key, double value);

    /// Null where it is not known.
    const FactValue* find(std::string_view key) const;
    bool contains(std::string_view key) const { return find(key) != nullptr; }
    template <class T> const T* get(std::string_view key) const
    {
        const FactValue* value = find(key);
        return value ? std::get_if<T>(value) : nullptr;
    }

    const std::vector<Entry>& entries() const { return m_entries; }
    std::vector<FactPicture> pictures;

    bool operator==(const Facts&) const = default;

private:
    std::size_t placeOf(std::size_t row) const;

    std::vector<Entry> m_entries;
    std::vector<std::uint8_t> m_rows; ///< of the entries
};

} // namespace mv
