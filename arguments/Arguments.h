#pragma once

#include "Base/Core/Result.h"
#include "arguments/Option.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace mv {

/// The words of a command line behind the command's name, sorted into options and the rest. "--" ends the options.
class Arguments {
public:
    /// Fails with a sentence for people at an unknown option, a missing value or one too many, and at a value that the
    /// option does not take: a number out of its range, a word that is not among those of its choice.
    static Result<Arguments> parse(std::span<const Option> options, const std::vector<std::string>& words);

    bool has(std::string_view option) const;
    /// The last value of the option, or the default.
    std::string value(std::string_view option, std::string_view fallback = {}) const;
    /// The last value of an option that takes numbers, or the default.
    int number(std::string_view option, int fallback) const;
    /// The place of the option's last value, or of the default, among the words of its choice.
    std::size_t choice(std::string_view option, std::span<const char* const> words, std::string_view fallback) const;
    /// Every value of an option that may be given several times.
    std::vector<std::string> values(std::string_view option) const;
    const std::vector<std::string>& files() const { return m_files; }

private:
    struct Given {
        std::string name;
        std::string value;
    };

    std::vector<Given> m_options;
    std::vector<std::string> m_files;
};

/// A whole number in a range, or a sentence that says what was expected of the option.
Result<int> numberIn(std::string_view option, const std::string& text, int minimum, int maximum);

} // namespace mv
