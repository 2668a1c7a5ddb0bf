#include "cli/Terminal.h"

#include "Base/Core/Text.h"
#include "bus/BusError.h"
#include "cli/Output.h"
#include "service/include/MediaErrors.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <sys/ioctl.h>
#include <unistd.h>

namespace mv::cli {

namespace {

constexpr int UsualWidth = 80;
constexpr std::string_view ExceptionPrefix = BusErrorExceptionPrefix;

// What the bus says when nobody is there to answer.
constexpr std::array<std::string_view, 4> NobodyThere { "org.freedesktop.DBus.Error.ServiceUnknown",
    "org.freedesktop.DBus.Error.NameHasNoOwner", "org.freedesktop.DBus.Error.NoServer",
    "org.freedesktop.DBus.Error.Disconnected" };

std::string_view environment(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

bool terminalIsDumb() { return environment("TERM") == "dumb"; }

bool nobodyIsThere(const Error& error)
{
    return std::find(NobodyThere.begin(), NobodyThere.end(), error.name) != NobodyThere.end();
}

} // namespace

void complain(std::string_view command, std::string_view text)
{
    printToError("mivo " + std::string(command) + ": " + terminalText(text) + "\n");
}

void complain(std::string_view command, std::string_view file, std::string_view text)
{
    complain(command, std::string(file) + ": " + std::string(text));
}

ExitStatus misuse(std::string_view command, std::string_view text)
{
    complain(command, text);
    printToError("Try \"mivo " + std::string(command) + " --help\".\n");
    return ExitStatus::Misuse;
}

bool outputIsTerminal() { return isatty(STDOUT_FILENO) == 1; }

bool errorIsTerminal() { return isatty(STDERR_FILENO) == 1; }

bool outputTakesEmphasis() { return outputIsTerminal() && !terminalIsDumb() && environment("NO_COLOR").empty(); }

bool errorTakesDrawing() { return errorIsTerminal() && !terminalIsDumb(); }

int terminalWidth()
{
    winsize size {};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0)
        return UsualWidth;
    return size.ws_col;
}

std::string sentenceFor(const Error& error)
{
    std::string_view name = error.name;
    // What was found out here, or by the interface for new programs, is a sentence already.
    if (name.empty() || name.starts_with(MediaErrorPrefix))
        return error.text;
    if (name.starts_with(ExceptionPrefix))
        return "the service raised " + std::string(name.substr(ExceptionPrefix.size())) + ": " + error.text;
    if (nobodyIsThere(error))
        return "the service does not run: " + error.text;
    switch (error.kind) {
    case Error::Kind::Unsupported:
        return "the running service does not offer that: " + error.text;
    case Error::Kind::Limit:
        return "the answer is too large: " + error.text;
    default:
        return error.text + " (" + std::string(name) + ")";
    }
}

ExitStatus statusFor(const Error& error)
{
    return nobodyIsThere(error) ? ExitStatus::NoService : ExitStatus::SomeFailed;
}

} // namespace mv::cli
