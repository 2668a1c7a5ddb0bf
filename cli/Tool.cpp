#include "arguments/Suggestion.h"
#include "cli/Command.h"
#include "cli/Help.h"
#include "cli/Output.h"
#include "cli/Terminal.h"

#include <algorithm>
#include <array>

namespace mv::cli {

namespace {

constexpr std::array Commands {
    &describeCommand,
    &indexCommand,
    &exifCommand,
    &thumbnailCommand,
    &sheetCommand,
    &tagCommand,
    &copyTagsCommand,
    &renameCommand,
    &podcastCommand,
    &encodeCommand,
    &convertCommand,
    &exportCommand,
    &dumpCommand,
    &statusCommand,
    &quitCommand,
};

constexpr const char* Version = "mivo 1.3.0\n";

bool isOneOf(std::string_view word, std::initializer_list<std::string_view> words)
{
    return std::find(words.begin(), words.end(), word) != words.end();
}

const Command* commandNamed(std::string_view name)
{
    auto found = std::find_if(Commands.begin(), Commands.end(), [&](const Command* one) { return name == one->name; });
    return found == Commands.end() ? nullptr : *found;
}

ExitStatus unknownCommand(const std::string& name)
{
    std::vector<std::string> known { "help" };
    for (const Command* command : Commands)
        known.emplace_back(command->name);
    printToError("mivo: there is no command \"" + terminalText(name) + "\"" + didYouMean(name, known, "\"")
        + "\nTry \"mivo --help\".\n");
    return ExitStatus::Misuse;
}

/// "mivo help", "mivo help COMMAND".
ExitStatus help(const std::vector<std::string>& words)
{
    if (words.empty()) {
        print(helpText());
        return ExitStatus::Done;
    }
    const Command* command = commandNamed(words[0]);
    if (!command)
        return unknownCommand(words[0]);
    print(helpText(*command));
    return ExitStatus::Done;
}

ExitStatus runCommand(const Command& command, const std::vector<std::string>& words)
{
    std::vector<Option> options(command.options.begin(), command.options.end());
    options.insert(options.end(), commonOptions().begin(), commonOptions().end());
    auto arguments = Arguments::parse(options, words);
    if (!arguments)
        return misuse(command.name, arguments.error().text);
    if (arguments->has("help"))
        return help({ command.name });
    if (arguments->has("version")) {
        print(Version);
        return ExitStatus::Done;
    }
    if (arguments->files().size() < command.minimumFiles)
        return misuse(command.name, "there is a file name missing");
    if (arguments->files().size() > command.maximumFiles)
        return misuse(command.name, "there are too many file names");
    return command.run(*arguments);
}

} // namespace

std::span<const Command* const> allCommands() { return Commands; }

ExitStatus runTool(const std::vector<std::string>& words)
{
    if (words.empty()) {
        print(helpText());
        return ExitStatus::Misuse;
    }
    if (isOneOf(words[0], { "--help", "help", "-h" }))
        return help({ words.begin() + 1, words.end() });
    if (isOneOf(words[0], { "--version", "-V" })) {
        print(Version);
        return ExitStatus::Done;
    }
    const Command* command = commandNamed(words[0]);
    return command ? runCommand(*command, { words.begin() + 1, words.end() }) : unknownCommand(words[0]);
}

} // namespace mv::cli
