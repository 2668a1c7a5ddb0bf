#pragma once

#include "Base/Core/Date.h"

#include <optional>
#include <string_view>

namespace mv {

/// Reads a date of the pattern "yyyy:MM:dd HH:mm:ss" as local time. Strict: every field has its digits and is in
/// range (month 13, day 31 of April and hour 24 do not parse), nothing stands before or behind. Independent of the
/// locale.
std::optional<Date> dateFromExifText(std::string_view text);

} // namespace mv
