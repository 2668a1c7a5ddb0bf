#include "cli/Command.h"
#include "cli/Terminal.h"

#include "Base/Core/Text.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace mv::cli {

namespace {

const std::array kCommands {
    &describeCommand,
    &exifCommand,
    &thumbnailCommand,
    &sheetCommand,
    &tagCommand,
    &podcastCommand,
    &encodeCommand,
    &convertCommand,
    &exportCommand,
    &dumpCommand,
    &statusCommand,
    &quitCommand,
};

constexpr std::array kCommonOptions {
    Option { "log", nullptr, "show the log of a service that this command starts" },
    Option { "help", nullptr, "show this help" },
};

constexpr const char* Version = "mivo 1.3.0";
constexpr int NameColumn = 11;
constexpr int OptionColumn = 22;

void printHelp()
{
    std::puts("mivo describes, tags and converts media files through the Mivo media service.\n\n"
              "Usage: mivo COMMAND [OPTION...] [FILE...]\n\nCommands:");
    for (const Command* command : kCommands)
        std::printf("  %-*s %s\n", NameColumn, command->name, command->summary);
    std::puts("\n\"mivo COMMAND --help\" tells more of a command. Without a session bus a private one is started with\n"
              "the service on it for the time of the command; with one, the service that runs there is used, or\n"
              "started. The exit status is 0, or 1 with the reason on standard error.");
}

void printOption(const Option& option)
{
    std::string name = std::string("--") + option.name + (option.value ? std::string(" ") + option.value : "");
    std::printf("  %-*s %s\n", OptionColumn, name.c_str(), option.help);
}

void printHelp(const Command& command)
{
    std::printf("Usage: mivo %s %s\n\n%s.\n", command.name, command.synopsis, command.summary);
    if (*command.details)
        std::printf("\n%s\n", command.details);
    std::puts("\nOptions:");
    for (const Option& option : command.options)
        printOption(option);
    for (const Option& option : kCommonOptions)
        printOption(option);
}

int misuse(const Command& command, const std::string& text)
{
    complain(command.name, text);
    std::fprintf(stderr, "Try \"mivo %s --help\".\n", command.name);
    return 1;
}

int runCommand(const Command& command, const std::vector<std::string>& words)
{
    std::vector<Option> options(command.options.begin(), command.options.end());
    options.insert(options.end(), kCommonOptions.begin(), kCommonOptions.end());
    auto arguments = Arguments::parse(options, words);
    if (!arguments)
        return misuse(command, arguments.error().text);
    if (arguments->has("help")) {
        printHelp(command);
        return 0;
    }
    if (arguments->files().size() < command.minimumFiles)
        return misuse(command, "there is a file name missing");
    if (arguments->files().size() > command.maximumFiles)
        return misuse(command, "there are too many file names");
    return command.run(*arguments);
}

} // namespace

int runTool(const std::vector<std::string>& words)
{
    if (words.empty() || words[0] == "--help" || words[0] == "help" || words[0] == "-h") {
        printHelp();
        return words.empty() ? 1 : 0;
    }
    if (words[0] == "--version") {
        std::puts(Version);
        return 0;
    }
    auto found = std::find_if(
        kCommands.begin(), kCommands.end(), [&](const Command* command) { return words[0] == command->name; });
    if (found == kCommands.end()) {
        std::fprintf(
            stderr, "mivo: there is no command \"%s\"\nTry \"mivo --help\".\n", terminalText(words[0]).c_str());
        return 1;
    }
    return runCommand(**found, { words.begin() + 1, words.end() });
}

} // namespace mv::cli
