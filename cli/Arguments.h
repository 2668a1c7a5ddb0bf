#pragma once

#include "Base/Core/Result.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace mv::cli {

/// An option of a command. One with a value takes it as "--name VALUE" or "--name=VALUE".
struct Option {
    const char* name; ///< without the dashes
    const char* value; ///< what stands for the value in the help; null for an option without one
    const char* help;
    char letter = 0; ///< its short form, for an option without a value; 0 for none
};

/// The words of a command line behind the command's name, sorted into options and the rest. "--" ends the options.
class Arguments {
public:
    /// Fails with a sentence for people at an unknown option, a missing value or one too many.
    static Result<Arguments> parse(std::span<const Option> options, const std::vector<std::string>& words);

    bool has(std::string_view option) const;
    /// The last value of the option, or the default.
    std::string value(std::string_view option, std::string_view fallback = {}) const;
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

} // namespace mv::cli
