#pragma once

#include "Base/Media/Record.h"

#include <cstdint>
#include <optional>
#include <string_view>

namespace mv {

// What the tag writers ask of a record. A value of a kind that its field does not take is ignored: the field stays as
// it is, and the rest of the record is written. (Record::string gives the texts.)

/// True when there is a value under the key that is neither a text nor the null object.
bool hasValueThatIsNoText(const Record& record, std::string_view key);
/// The integer under the key, of a number or a string; nothing when the key is missing or its value is of another
/// kind. Deliberate: the null object is the caller's error and raises NSInvalidArgumentException.
std::optional<std::int32_t> integerOfRecord(const Record& record, std::string_view key);

} // namespace mv
