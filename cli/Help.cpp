#include "cli/Help.h"

#include <algorithm>

namespace mv::cli {

namespace {

constexpr std::size_t CommandColumns = 11;
constexpr std::size_t StatusColumns = 5;

constexpr std::array CommonOptions {
    Option { "log", nullptr, "show the log of a service that this command starts" },
    Option { "help", nullptr, "show this help", 'h' },
    Option { "version", nullptr, "show the version", 'V' },
};

} // namespace

std::span<const Option> commonOptions() { return CommonOptions; }

std::string helpText()
{
    std::string text = "mivo describes, tags and converts media files through the Mivo media service.\n\n"
                       "Usage: mivo COMMAND [OPTION...] [FILE...]\n\nCommands:\n";
    for (const Command* command : allCommands())
        text += helpRow(command->name, CommandColumns, command->summary);
    text += "\n\"mivo help COMMAND\" tells more of a command. Without a session bus a private one is started with the\n"
            "service on it for the time of the command; with one, the service that runs there is used, or started.\n"
            "\nExit status:\n";
    for (const StatusMeaning& one : exitStatuses())
        text += helpRow(std::to_string(one.status), StatusColumns, one.meaning);
    return text;
}

std::string helpText(const Command& command) { return helpText(programOf(command)) + optionRows(CommonOptions); }

std::span<const StatusMeaning> exitStatuses()
{
    static const auto Meanings = [] {
        std::array<StatusMeaning, ExitStatuses.size()> rows {};
        std::transform(ExitStatuses.begin(), ExitStatuses.end(), rows.begin(), [](const ExitStatusRow& row) {
            return StatusMeaning { static_cast<int>(row.status), row.meaning };
        });
        return rows;
    }();
    return Meanings;
}

Program programOf(const Command& command)
{
    return {
        .name = std::string("mivo ") + command.name,
        .synopsis = command.synopsis,
        .summary = command.summary,
        .details = command.details,
        .options = command.options,
        .files = command.files,
        .statuses = {},
    };
}

} // namespace mv::cli
