#include "service/host/CommandLine.h"

#include "Base/Core/Text.h"
#include "arguments/Arguments.h"

#include <array>
#include <cstdio>
#include <string>
#include <vector>

namespace mv {

namespace {

constexpr const char* Version = "mivo-mediad " MIVO_VERSION;
constexpr const char* Synopsis = "[OPTION...]";
constexpr const char* Summary = "Describe, tag and convert media files for other programs";
constexpr const char* Details
    = "Publishes nine services and Mivo.Media1 on the session bus and answers them until it is told to quit\n"
      "(\"mivo quit\", SIGTERM, or the end of the bus). It writes its log to standard error. A message bus starts it\n"
      "when one of its names is called; where none does, the tool mivo starts it by itself.";

// A week: who means more means never.
constexpr int MaxIdleSeconds = 7 * 24 * 3600;
constexpr std::array LogLevels { "error", "warning", "notice", "info", "debug" };

constexpr std::array Options {
    Option { .name = "on-demand",
        .value = nullptr,
        .help
        = "somebody has called one of the names, so that another who serves them all is no error; for message buses" },
    Option { .name = "idle-exit",
        .value = "SECONDS",
        .help = "leave when nothing has gone on for so long, 604800 at most; 0 is never, and the default where it was "
                "started by hand, else 300",
        .values = numberFrom(0, MaxIdleSeconds) },
    Option { .name = "log-level",
        .value = "LEVEL",
        .help = "log what matters so much: error, warning, notice, info, debug; info in the journal, else debug",
        .values = oneOf(LogLevels) },
    Option { .name = "help", .value = nullptr, .help = "show this help", .letter = 'h' },
    Option { .name = "version", .value = nullptr, .help = "show the version", .letter = 'V' },
};

constexpr std::array Statuses {
    StatusMeaning {
        ExitDone, "it was told to quit, nothing had gone on for long, or another serves everything already" },
    StatusMeaning { ExitNotPublished, "a name of its services is taken, or there is no session bus" },
    StatusMeaning { ExitMisuse, "misuse" },
};

std::string help()
{
    std::string text
        = std::string("mivo-mediad describes, tags and converts media files for other programs.\n\nUsage: mivo-mediad ")
        + Synopsis + "\n\n" + Details + "\n\nOptions:\n" + optionRows(Options) + "\nExit status:\n";
    constexpr std::size_t StatusColumns = 5;
    for (const StatusMeaning& one : Statuses)
        text += helpRow(std::to_string(one.status), StatusColumns, one.meaning);
    return text;
}

int print(const std::string& text)
{
    bool written = std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
    if (!written)
        std::perror("mivo-mediad: standard output");
    return written ? ExitDone : ExitNotPublished;
}

int misuse(std::span<char* const> words, const char* reason)
{
    std::string given;
    for (const char* word : words)
        given += std::string(given.empty() ? "" : " ") + word;
    std::fprintf(stderr, "mivo-mediad: it takes no \"%s\": %s\n", given.c_str(), reason);
    return ExitMisuse;
}

ServiceSettings settingsFrom(const Arguments& arguments)
{
    ServiceSettings settings;
    settings.onDemand = arguments.has("on-demand");
    if (arguments.has("idle-exit"))
        settings.idleExit = std::chrono::seconds(arguments.number("idle-exit", 0));
    if (arguments.has("log-level"))
        settings.logLevel = logPriorityNamed(arguments.value("log-level"));
    return settings;
}

} // namespace

Program serviceProgram()
{
    return { .name = "mivo-mediad",
        .synopsis = Synopsis,
        .summary = Summary,
        .details = Details,
        .options = Options,
        .files = {},
        .statuses = Statuses };
}

std::variant<ServiceSettings, int> readCommandLine(std::span<char* const> words)
{
    auto arguments = Arguments::parse(Options, { words.begin(), words.end() });
    if (!arguments)
        return misuse(words, arguments.error().text.c_str());
    if (arguments->has("help"))
        return print(help());
    if (arguments->has("version"))
        return print(std::string(Version) + "\n");
    if (!arguments->files().empty())
        return misuse(words, "files are given to the tool mivo");
    return settingsFrom(*arguments);
}

} // namespace mv
