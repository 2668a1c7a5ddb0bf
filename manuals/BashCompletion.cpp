#include "manuals/Completion.h"

namespace mv::manuals {

namespace {

std::string offered(const std::string& words) { return "COMPREPLY=($(compgen -W '" + words + "' -- \"$cur\"))"; }

/// What fills COMPREPLY with such values; empty where nothing can be offered.
std::string offer(const Values& values)
{
    switch (values.kind) {
    case Values::Kind::Text:
    case Values::Kind::Number:
        return "";
    case Values::Kind::Choice:
        return offered(joined(values.words, " "));
    case Values::Kind::File:
        return values.endings ? "_filedir '@(" + endingsWith(values.endings, "|") + ")'" : "_filedir";
    case Values::Kind::Folder:
        return "_filedir -d";
    }
    return "";
}

std::string spellings(const Option& option, const char* between)
{
    std::string name = std::string("--") + option.name;
    return option.letter ? std::string("-") + option.letter + between + name : name;
}

/// After an option with a value, that value is completed and nothing else.
std::string valueCases(std::span<const Option> options, const std::string& indent)
{
    std::string cases;
    for (const Option& option : options) {
        if (!option.value)
            continue;
        std::string action = offer(option.values);
        cases += indent + spellings(option, "|") + ") " + (action.empty() ? "" : action + "; ") + "return ;;\n";
    }
    return cases.empty() ? "" : indent + "case $prev in\n" + cases + indent + "esac\n";
}

std::string optionWords(std::span<const Option> options)
{
    std::string words;
    for (const Option& option : options)
        words += (words.empty() ? "" : " ") + spellings(option, " ");
    return words;
}

/// Names count behind the command; the value of an option is none.
std::string placeCounting(std::span<const Option> options, const std::string& indent)
{
    std::string withValue;
    for (const Option& option : options) {
        if (option.value)
            withValue += (withValue.empty() ? "" : "|") + spellings(option, "|");
    }
    return indent + "for ((i++; i < cword; i++)); do\n" + indent + "    case ${words[i]} in\n"
        + (withValue.empty() ? "" : indent + "    " + withValue + ") ((i++)) ;;\n") + indent + "    -?*) ;;\n" + indent
        + "    *) ((place++)) ;;\n" + indent + "    esac\n" + indent + "done\n";
}

std::string nameCases(std::span<const Values> files, const std::string& indent)
{
    if (files.size() == 1)
        return indent + offer(files[0]) + "\n";
    std::string cases;
    for (std::size_t i = 0; i < files.size(); ++i)
        cases += indent + std::to_string(i) + ") " + offer(files[i]) + " ;;\n";
    return cases.empty() ? "" : indent + "case $place in\n" + cases + indent + "esac\n";
}

std::string body(std::span<const Option> options, std::span<const Values> files, const std::string& indent)
{
    return valueCases(options, indent) + indent + "$split && return\n" + indent + "if [[ $cur == -* ]]; then\n" + indent
        + "    " + offered(optionWords(options)) + "\n" + indent + "    return\n" + indent + "fi\n"
        + (files.size() > 1 ? placeCounting(options, indent) : "") + nameCases(files, indent);
}

std::string start(const Tool& tool)
{
    return "# What bash completes behind " + tool.program.name + ". Made from the program's tables.\n\n_"
        + pageName(tool.program) + "()\n{\n    local cur prev words cword split i=0 place=0\n"
        + "    _init_completion -s || return\n";
}

std::string end(const Tool& tool)
{
    return "} &&\n    complete -F _" + pageName(tool.program) + " " + tool.program.name + "\n";
}

} // namespace

std::string bashCompletion(const Tool& tool)
{
    if (tool.commands.empty())
        return start(tool) + body(tool.program.options, tool.program.files, "    ") + end(tool);
    std::string names;
    std::string cases;
    for (const Program& command : tool.commands) {
        names += commandName(command) + " ";
        cases += "    " + commandName(command) + ")\n" + body(allOptions(tool, command), command.files, "        ")
            + "        ;;\n";
    }
    return start(tool) + "    if ((cword == 1)); then\n        " + offered(names + "help -h --help -V --version")
        + "\n        return\n    fi\n    i=1\n    case ${words[1]} in\n    help)\n        ((cword == 2)) && "
        + offered(names.substr(0, names.size() - 1)) + "\n        ;;\n" + cases + "    esac\n" + end(tool);
}

} // namespace mv::manuals
