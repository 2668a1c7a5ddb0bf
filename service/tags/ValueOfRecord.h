#pragma once

#include "Base/Core/Path.h"
#include "Base/Media/Record.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace mv {

// What the tag writers ask of a value; a value of a kind that cannot answer is the caller's error.

/// The value's text. Raises NSInvalidArgumentException when it is no string.
const std::string& textOfValue(std::string_view key, const Value& value);
/// The value's integer: of a number or a string. Raises NSInvalidArgumentException for other kinds, the null object
/// among them.
std::int32_t integerOfValue(std::string_view key, const Value& value);

/// The path to write to: the argument, or the record's FilePath when the argument is nil; nil when there is neither.
Path pathOrRecordPath(const Path& path, const Record& record);

} // namespace mv
