#include "arguments/Arguments.h"

#include "Base/Core/Text.h"
#include "arguments/Suggestion.h"

#include <algorithm>
#include <charconv>

namespace mv {

namespace {

Error misuse(const std::string& text) { return { Error::Kind::Format, text }; }

bool isLetterOf(std::string_view word, const Option& option)
{
    return option.letter != 0 && word.size() == 2 && word[1] == option.letter;
}

/// `word` with its dashes.
const Option* findOption(std::span<const Option> options, std::string_view word)
{
    auto isMeant = [&](const Option& one) {
        return word.starts_with("--") ? word.substr(2) == one.name : isLetterOf(word, one);
    };
    auto found = std::find_if(options.begin(), options.end(), isMeant);
    return found == options.end() ? nullptr : &*found;
}

Error unknownOption(std::span<const Option> options, const std::string& word)
{
    std::vector<std::string> known;
    for (const Option& option : options)
        known.push_back(std::string("--") + option.name);
    return misuse("there is no option " + word + didYouMean(word, known));
}

Result<void> checkChoice(const Option& option, const std::string& value)
{
    std::vector<std::string> known(option.values.words.begin(), option.values.words.end());
    if (std::find(known.begin(), known.end(), value) != known.end())
        return {};
    std::string listed;
    for (const std::string& word : known)
        listed += (listed.empty() ? "" : ", ") + word;
    return misuse(std::string("--") + option.name + " is one of: " + listed + didYouMean(value, known));
}

Result<void> checkValue(const Option& option, const std::string& value)
{
    if (option.values.kind == Values::Kind::Choice)
        return checkChoice(option, value);
    if (option.values.kind == Values::Kind::Number)
        MV_TRY_VOID(numberIn(option.name, value, option.values.minimum, option.values.maximum));
    return {};
}

} // namespace

Result<Arguments> Arguments::parse(std::span<const Option> options, const std::vector<std::string>& words)
{
    Arguments arguments;
    for (std::size_t i = 0; i < words.size(); ++i) {
        std::string_view word = words[i];
        if (word == "--") {
            arguments.m_files.insert(
                arguments.m_files.end(), words.begin() + static_cast<std::ptrdiff_t>(i) + 1, words.end());
            break;
        }
        // A single dash stands for standard input or output.
        if (!word.starts_with('-') || word == "-") {
            arguments.m_files.emplace_back(word);
            continue;
        }
        auto equals = word.find('=');
        std::string name(word.substr(0, equals));
        const Option* option = findOption(options, name);
        if (!option)
            return unknownOption(options, name);
        std::string value;
        if (!option->value && equals != std::string_view::npos)
            return misuse("the option " + name + " takes no value");
        if (option->value && equals == std::string_view::npos && i + 1 == words.size())
            return misuse("the option " + name + " needs a value: " + option->value);
        if (option->value)
            value = equals != std::string_view::npos ? std::string(word.substr(equals + 1)) : words[++i];
        MV_TRY_VOID(checkValue(*option, value));
        arguments.m_options.push_back({ option->name, value });
    }
    return arguments;
}

bool Arguments::has(std::string_view option) const
{
    return std::any_of(m_options.begin(), m_options.end(), [&](const Given& one) { return one.name == option; });
}

std::string Arguments::value(std::string_view option, std::string_view fallback) const
{
    std::string found(fallback);
    for (const Given& one : m_options) {
        if (one.name == option)
            found = one.value;
    }
    return found;
}

int Arguments::number(std::string_view option, int fallback) const
{
    std::string text = value(option);
    std::from_chars(text.data(), text.data() + text.size(), fallback);
    return fallback;
}

std::size_t Arguments::choice(
    std::string_view option, std::span<const char* const> words, std::string_view fallback) const
{
    auto found = std::find(words.begin(), words.end(), value(option, fallback));
    return static_cast<std::size_t>(found - words.begin());
}

std::vector<std::string> Arguments::values(std::string_view option) const
{
    std::vector<std::string> found;
    for (const Given& one : m_options) {
        if (one.name == option)
            found.push_back(one.value);
    }
    return found;
}

Result<int> numberIn(std::string_view option, const std::string& text, int minimum, int maximum)
{
    int value = 0;
    const char* end = text.data() + text.size();
    auto [stopped, failure] = std::from_chars(text.data(), end, value);
    if (failure != std::errc() || stopped != end || value < minimum || value > maximum)
        return misuse(formatText("--%s takes a whole number from %d to %d, not \"%s\"", std::string(option).c_str(),
            minimum, maximum, text.c_str()));
    return value;
}

} // namespace mv
