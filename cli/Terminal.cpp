#include "cli/Terminal.h"

#include "Base/Core/Text.h"

#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

namespace mv::cli {

namespace {

constexpr int UsualWidth = 80;
constexpr std::string_view ExceptionPrefix = "Mivo.Exception.";

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
    std::string line = "mivo " + std::string(command) + ": " + terminalText(text) + "\n";
    std::fflush(stdout);
    std::fputs(line.c_str(), stderr);
}

void complain(std::string_view command, std::string_view file, std::string_view text)
{
    complain(command, std::string(file) + ": " + std::string(text));
}

bool outputIsTerminal() { return isatty(STDOUT_FILENO) == 1; }

bool errorIsTerminal() { return isatty(STDERR_FILENO) == 1; }

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
    if (name.starts_with(ExceptionPrefix))
        return "the service raised " + std::string(name.substr(ExceptionPrefix.size())) + ": " + error.text;
    switch (error.kind) {
    case Error::Kind::NotFound:
        return name.empty() ? error.text : "the service does not run: " + error.text;
    case Error::Kind::Unsupported:
        return "this service cannot do that yet: " + error.text;
    case Error::Kind::Limit:
        return "the answer is too large: " + error.text;
    default:
        return name.empty() ? error.text : error.text + " (" + std::string(name) + ")";
    }
}

} // namespace mv::cli
