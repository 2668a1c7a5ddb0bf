#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace mv {

/// The known word that a mistyped one is nearest to; empty where none is near.
std::string nearestWord(std::string_view typed, const std::vector<std::string>& known);

/// "; did you mean WORD?" with the word between `quote`s, or nothing.
std::string didYouMean(std::string_view typed, const std::vector<std::string>& known, std::string_view quote = "");

} // namespace mv
