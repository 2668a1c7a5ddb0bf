#include "manuals/Completion.h"

namespace mv::manuals {

namespace {

/// Text within single quotes, with a backslash before each of `special`.
std::string quoted(std::string_view text, std::string_view special)
{
    std::string result;
    for (char one : text) {
        if (one == '\'')
            result += "'\\''";
        else
            result += (special.find(one) != std::string_view::npos ? "\\" : "") + std::string(1, one);
    }
    return result;
}

std::string action(const Values& values)
{
    switch (values.kind) {
    case Values::Kind::Text:
    case Values::Kind::Number:
        return " ";
    case Values::Kind::Choice:
        return "(" + joined(values.words, " ") + ")";
    case Values::Kind::File:
        return values.endings ? "_files -g \"*.(#i)(" + endingsWith(values.endings, "|") + ")(-.)\"" : "_files";
    case Values::Kind::Folder:
        return "_files -/";
    }
    return "";
}

std::string optionSpec(const Option& option)
{
    std::string help = "'[" + quoted(option.help, "[]\\") + "]";
    std::string value = option.value ? std::string(":") + option.value + ":" + action(option.values) : "";
    std::string name = std::string("--") + option.name + (option.value ? "=" : "");
    if (option.letter) {
        std::string letter = std::string("-") + option.letter;
        return "'(" + letter + " --" + option.name + ")'{" + letter + (option.value ? "+" : "") + "," + name + "}"
            + help + value + "'";
    }
    return std::string("'") + (option.repeats ? "*" : "") + name + help.substr(1) + value + "'";
}

std::string nameSpec(std::span<const Values> files, std::size_t index)
{
    const char* what = files[index].kind == Values::Kind::Folder ? "folder" : "file";
    std::string place = files.size() > 1 ? std::to_string(index + 1) : "*";
    return "'" + place + ":" + what + ":" + action(files[index]) + "'";
}

std::string arguments(std::span<const Option> options, std::span<const Values> files, const std::string& indent)
{
    const std::string nextLine = " \\\n" + indent + "    ";
    std::string text = indent + "_arguments -s -S";
    for (const Option& option : options)
        text.append(nextLine).append(optionSpec(option));
    for (std::size_t i = 0; i < files.size(); ++i)
        text.append(nextLine).append(nameSpec(files, i));
    return text + "\n";
}

std::string start(const Tool& tool)
{
    return "#compdef " + tool.program.name + "\n# What zsh completes behind " + tool.program.name
        + ". Made from the program's tables.\n\n";
}

} // namespace

std::string zshCompletion(const Tool& tool)
{
    if (tool.commands.empty())
        return start(tool) + arguments(tool.program.options, tool.program.files, "");
    std::string described;
    std::string cases;
    for (const Program& command : tool.commands) {
        described += "        '" + commandName(command) + ":" + quoted(command.summary, ":\\") + "'\n";
        cases += "    " + commandName(command) + ")\n" + arguments(allOptions(tool, command), command.files, "        ")
            + "        ;;\n";
    }
    return start(tool) + "_mivo_commands() {\n    local -a commands=(\n        \"$@\"\n" + described
        + "    )\n    _describe -t commands command commands\n}\n\n"
          "_mivo() {\n    local curcontext=\"$curcontext\" state line\n    typeset -A opt_args\n"
          "    _arguments -C \\\n        '(-h --help)'{-h,--help}'[show the help]' \\\n"
          "        '(-V --version)'{-V,--version}'[show the version]' \\\n"
          "        '1: :->command' \\\n        '*:: :->argument' && return\n"
          "    if [[ $state == command ]]; then\n        _mivo_commands 'help:tell more of a command'\n        "
          "return\n    fi\n"
          "    curcontext=\"${curcontext%:*:*}:mivo-$words[1]:\"\n    case $words[1] in\n"
          "    help)\n        _arguments '1: : _mivo_commands'\n        ;;\n"
        + cases + "    esac\n}\n\n_mivo \"$@\"\n";
}

} // namespace mv::manuals
