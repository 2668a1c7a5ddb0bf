#pragma once

#include "service/job/TagChanges.h"

namespace mv {

/// A text with the place and the total, "3/12", with the changes: what is not named is as it was. Empty where nothing
/// is left.
std::string placeText(std::string_view old, const TagChanges& changes, TagKey place, TagKey total);

} // namespace mv
