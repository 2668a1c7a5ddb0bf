#pragma once

#include "Base/Core/Result.h"
#include "cli/facts/FactCondition.h"

#include <string>
#include <string_view>
#include <vector>

namespace mv::cli {

/// A piece of a text of conditions.
struct FactToken {
    enum class Kind { Word, Quoted, Comparison, And, Or, Not, Open, Close, End };

    Kind kind = Kind::End;
    std::string text = {}; ///< of a word, as it stands; of what is in quotes, without them
    Comparison comparison = Comparison::Equal;
    std::size_t place = 0; ///< of its first byte
};

/// The pieces, and one End. Fails where a quote is not closed, as faultAt says.
Result<std::vector<FactToken>> factTokens(std::string_view text);

/// And, Or or Not for the words that mean it, in any case; Word for every other text.
FactToken::Kind kindOfWord(std::string_view word);

/// What is wrong with the text at a byte of it: "at character 9: a value is missing".
Error faultAt(std::string_view text, std::size_t place, const std::string& sentence);

} // namespace mv::cli
