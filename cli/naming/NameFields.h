#pragma once

#include "Base/Core/Result.h"
#include "facts/Facts.h"

#include <optional>
#include <string>
#include <string_view>

namespace mv::cli {

inline constexpr std::string_view PresentName = "name";

/// Whether a pattern may ask for a field of that name: a fact by one of the names that FactField knows, and besides
/// "year" (of the date) and "name" (the file's present name without its ending). Else a sentence that names the nearest
/// one.
Result<void> checkNameField(std::string_view name);

/// The field's value as a name has it: several texts with ", " between, numbers in decimal, no blanks at the ends;
/// nothing where the file has none.
std::optional<std::string> nameFieldValue(std::string_view name, const Facts& facts, std::string_view presentName);

} // namespace mv::cli
