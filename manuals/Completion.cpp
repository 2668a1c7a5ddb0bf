#include "manuals/Completion.h"

namespace mv::manuals {

std::vector<Option> allOptions(const Tool& tool, const Program& command)
{
    std::vector<Option> options(command.options.begin(), command.options.end());
    options.insert(options.end(), tool.commonOptions.begin(), tool.commonOptions.end());
    return options;
}

std::string commandName(const Program& command) { return command.name.substr(command.name.rfind(' ') + 1); }

std::string joined(std::span<const char* const> words, const char* between)
{
    std::string text;
    for (const char* word : words)
        text += (text.empty() ? "" : between) + std::string(word);
    return text;
}

std::string endingsWith(const char* endings, const std::string& between)
{
    std::string text;
    for (const char* one = endings; *one; ++one)
        text += *one == ' ' ? between : std::string(1, *one);
    return text;
}

} // namespace mv::manuals
