#include "cli/Help.h"

#include "Base/Core/Text.h"
#include "cli/RecordText.h"

namespace mv::cli {

namespace {

constexpr std::size_t CommandColumns = 11;
constexpr std::size_t OptionColumns = 22;
constexpr std::size_t StatusColumns = 5;

constexpr std::array CommonOptions {
    Option { "log", nullptr, "show the log of a service that this command starts" },
    Option { "help", nullptr, "show this help", 'h' },
    Option { "version", nullptr, "show the version", 'V' },
};

std::string row(const std::string& name, std::size_t columns, const char* text)
{
    return "  " + padded(name, columns) + " " + text + "\n";
}

std::string optionRow(const Option& option)
{
    std::string name = std::string("--") + option.name + (option.value ? std::string(" ") + option.value : "");
    if (option.letter)
        name = std::string("-") + option.letter + ", " + name;
    return row(name, OptionColumns, option.help);
}

} // namespace

std::span<const Option> commonOptions() { return CommonOptions; }

std::string helpText()
{
    std::string text = "mivo describes, tags and converts media files through the Mivo media service.\n\n"
                       "Usage: mivo COMMAND [OPTION...] [FILE...]\n\nCommands:\n";
    for (const Command* command : allCommands())
        text += row(command->name, CommandColumns, command->summary);
    text += "\n\"mivo help COMMAND\" tells more of a command. Without a session bus a private one is started with the\n"
            "service on it for the time of the command; with one, the service that runs there is used, or started.\n"
            "\nExit status:\n";
    for (const ExitStatusRow& one : ExitStatuses)
        text += row(std::to_string(static_cast<int>(one.status)), StatusColumns, one.meaning);
    return text;
}

std::string helpText(const Command& command)
{
    std::string text = std::string("Usage: mivo ") + command.name + " " + command.synopsis + "\n\n" + command.summary
        + ".\n" + (*command.details ? "\n" : "") + command.details + (*command.details ? "\n" : "") + "\nOptions:\n";
    for (const Option& option : command.options)
        text += optionRow(option);
    for (const Option& option : CommonOptions)
        text += optionRow(option);
    return text;
}

} // namespace mv::cli
