#include "cli/Terminal.h"

#include "Base/Core/Text.h"
#include "bus/BusError.h"
#include "cli/Output.h"

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

/// The number of bytes of the character at the front; 0 where there is no valid one.
std::size_t characterLength(std::string_view text)
{
    for (std::size_t length = 1; length <= 4 && length <= text.size(); ++length) {
        if (isValidUtf8(text.substr(0, length)))
            return length;
    }
    return 0;
}

bool isControl(std::string_view character)
{
    auto first = static_cast<unsigned char>(character[0]);
    if (character.size() == 1)
        return first < 0x20 || first == 0x7f;
    // U+0080 to U+009F, which terminals take for commands as well.
    return character.size() == 2 && first == 0xc2 && static_cast<unsigned char>(character[1]) < 0xa0;
}

void appendEscaped(std::string& out, std::string_view bytes)
{
    for (char byte : bytes) {
        if (byte == '\n')
            out += "\\n";
        else if (byte == '\t')
            out += "\\t";
        else
            out += formatText("\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    }
}

} // namespace

std::string terminalText(std::string_view text)
{
    std::string out;
    while (!text.empty()) {
        std::size_t length = characterLength(text);
        std::string_view character = text.substr(0, length ? length : 1);
        if (length == 0 || isControl(character))
            appendEscaped(out, character);
        else
            out += character;
        text.remove_prefix(character.size());
    }
    return out;
}

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
    // What was found out here is a sentence already.
    if (name.empty())
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
