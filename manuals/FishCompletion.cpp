#include "manuals/Completion.h"

namespace mv::manuals {

namespace {

std::string quoted(std::string_view text)
{
    std::string result = "'";
    for (char one : text)
        result += (one == '\'' || one == '\\' ? "\\" : "") + std::string(1, one);
    return result + "'";
}

std::string suffixes(const char* endings) { return "(__fish_complete_suffix ." + endingsWith(endings, " .") + ")"; }

std::string valueFlags(const Values& values)
{
    switch (values.kind) {
    case Values::Kind::Text:
    case Values::Kind::Number:
        return " -x";
    case Values::Kind::Choice:
        return " -x -a " + quoted(joined(values.words, " "));
    case Values::Kind::File:
        return values.endings ? " -x -k -a " + quoted(suffixes(values.endings)) : " -r -F";
    case Values::Kind::Folder:
        return " -x -a '(__fish_complete_directories)'";
    }
    return "";
}

std::string optionLine(const std::string& where, const Option& option)
{
    std::string letter = option.letter ? std::string(" -s ") + option.letter : "";
    return where + letter + " -l " + option.name + (option.value ? valueFlags(option.values) : "") + " -d "
        + quoted(option.help) + "\n";
}

/// Files of the usual endings come first where names are all of one kind; else any file may be meant.
std::string names(const std::string& where, std::span<const Values> files)
{
    if (files.empty())
        return where + " -f\n";
    if (files.size() == 1 && files[0].endings)
        return where + " -k -a " + quoted(suffixes(files[0].endings)) + "\n";
    return "";
}

std::string linesOf(const std::string& where, std::span<const Option> options, std::span<const Values> files)
{
    std::string lines = names(where, files);
    for (const Option& option : options)
        lines += optionLine(where, option);
    return lines;
}

constexpr const char* Functions = "function __mivo_has_no_command\n"
                                  "    test (count (commandline -opc)) -eq 1\n"
                                  "end\n\n"
                                  "function __mivo_command_is\n"
                                  "    set -l words (commandline -opc)\n"
                                  "    test (count $words) -gt 1; and test $words[2] = $argv[1]\n"
                                  "end\n\n";

} // namespace

std::string fishCompletion(const Tool& tool)
{
    const std::string& program = tool.program.name;
    std::string text = "# What fish completes behind " + program + ". Made from the program's tables.\n\n";
    std::string complete = "complete -c " + program;
    if (tool.commands.empty())
        return text + linesOf(complete, tool.program.options, tool.program.files);
    std::string first = complete + " -n __mivo_has_no_command";
    text += Functions + first + " -f\n" + first + " -s h -l help -d 'show the help'\n" + first
        + " -s V -l version -d 'show the version'\n" + first + " -a help -d 'tell more of a command'\n";
    std::string behindHelp = complete + " -n '__mivo_command_is help' -f";
    std::string commands;
    for (const Program& command : tool.commands) {
        std::string offer = " -a " + commandName(command) + " -d " + quoted(command.summary) + "\n";
        text += first + offer;
        commands += behindHelp + offer
            + linesOf(complete + " -n '__mivo_command_is " + commandName(command) + "'", allOptions(tool, command),
                command.files);
    }
    return text + commands;
}

} // namespace mv::manuals
