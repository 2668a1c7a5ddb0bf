#include "arguments/Program.h"

#include <algorithm>
#include <string_view>

namespace mv {

namespace {

constexpr std::size_t OptionColumns = 22;
constexpr std::size_t StatusColumns = 5;

std::string nameOf(const Option& option)
{
    std::string name = std::string("--") + option.name + (option.value ? std::string(" ") + option.value : "");
    return option.letter ? std::string("-") + option.letter + ", " + name : name;
}

} // namespace

std::string helpRow(const std::string& name, std::size_t columns, const char* meaning)
{
    std::string padding(name.size() < columns ? columns - name.size() : 0, ' ');
    return "  " + name + padding + " " + meaning + "\n";
}

std::vector<const Option*> sortedByName(std::span<const Option> options)
{
    std::vector<const Option*> sorted;
    for (const Option& option : options)
        sorted.push_back(&option);
    std::sort(sorted.begin(), sorted.end(),
        [](const auto* a, const auto* b) { return std::string_view(a->name) < std::string_view(b->name); });
    return sorted;
}

std::string optionRows(std::span<const Option> options)
{
    std::string rows;
    for (const Option* option : sortedByName(options))
        rows += helpRow(nameOf(*option), OptionColumns, option->help);
    return rows;
}

std::string helpText(const Program& program)
{
    std::string text = "Usage: " + program.name + " " + program.synopsis + "\n\n" + program.summary + ".\n";
    if (*program.details)
        text += std::string("\n") + program.details + "\n";
    text += "\nOptions:\n" + optionRows(program.options);
    if (!program.statuses.empty())
        text += "\nExit status:\n";
    for (const StatusMeaning& one : program.statuses)
        text += helpRow(std::to_string(one.status), StatusColumns, one.meaning);
    return text;
}

} // namespace mv
