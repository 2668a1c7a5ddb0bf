#include "arguments/Suggestion.h"

#include "Base/Core/Text.h"

#include <algorithm>

namespace mv {

namespace {

/// Letters to add, drop, change or swap with their neighbour until one word is the other.
std::size_t typingErrors(std::string_view one, std::string_view other)
{
    std::vector<std::vector<std::size_t>> errors(one.size() + 1, std::vector<std::size_t>(other.size() + 1));
    for (std::size_t i = 0; i <= one.size(); ++i) {
        for (std::size_t j = 0; j <= other.size(); ++j) {
            if (i == 0 || j == 0) {
                errors[i][j] = i + j;
                continue;
            }
            std::size_t changed = errors[i - 1][j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1);
            errors[i][j] = std::min({ changed, errors[i - 1][j] + 1, errors[i][j - 1] + 1 });
            if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1])
                errors[i][j] = std::min(errors[i][j], errors[i - 2][j - 2] + 1);
        }
    }
    return errors.back().back();
}

/// A third of the letters may be wrong, but never so many that short words all look alike.
std::size_t errorsAllowed(std::string_view typed) { return std::clamp<std::size_t>(typed.size() / 3, 1, 3); }

} // namespace

std::string nearestWord(std::string_view typed, const std::vector<std::string>& known)
{
    constexpr std::size_t MaxWord = 40; // of ours; what is longer is no slip
    std::string lower = toLowerAscii(typed);
    if (lower.empty() || lower.size() > MaxWord)
        return "";
    std::string nearest;
    std::size_t fewest = errorsAllowed(lower) + 1;
    for (const std::string& word : known) {
        // The beginning of a word is that word, however much is missing.
        std::size_t errors = lower.size() > 1 && word.starts_with(lower) ? 1 : typingErrors(lower, word);
        if (errors < fewest) {
            fewest = errors;
            nearest = word;
        }
    }
    return nearest;
}

std::string didYouMean(std::string_view typed, const std::vector<std::string>& known, std::string_view quote)
{
    std::string word = nearestWord(typed, known);
    if (word.empty())
        return "";
    return "; did you mean " + std::string(quote) + word + std::string(quote) + "?";
}

} // namespace mv
