#include "cli/TerminalPicture.h"

#include "Base/Core/Handle.h"
#include "Base/Core/Text.h"
#include "cli/Interruption.h"
#include "cli/JsonText.h"
#include "cli/PictureFile.h"

#include <array>
#include <cstdlib>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace mv::cli {

namespace {

constexpr std::size_t Channels = 4;
// The kitty protocol takes base64 in pieces of at most this.
constexpr std::size_t KittyPieceBytes = 4096;
// Sixels: six levels for each of red, green and blue, six rows of pixels a band.
constexpr int Levels = 6;
constexpr int BandRows = 6;
constexpr int AnswerTimeoutMilliseconds = 200;

std::string environment(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

/// The terminal's answer to "what are you?", read without echo and without waiting for a line.
std::string deviceAttributes()
{
    termios before {};
    if (!isatty(STDIN_FILENO) || tcgetattr(STDIN_FILENO, &before) != 0)
        return "";
    // A terminal left like this shows nothing of what is typed.
    UncutText whole;
    termios raw = before;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    ScopeGuard restore([&] { tcsetattr(STDIN_FILENO, TCSANOW, &before); });
    constexpr std::string_view Question = "\033[c";
    if (write(STDOUT_FILENO, Question.data(), Question.size()) < 0)
        return "";
    std::string answer;
    pollfd waiting { STDIN_FILENO, POLLIN, 0 };
    while (answer.find('c') == std::string::npos && poll(&waiting, 1, AnswerTimeoutMilliseconds) > 0) {
        char byte = 0;
        if (read(STDIN_FILENO, &byte, 1) != 1)
            break;
        answer += byte;
    }
    return answer;
}

std::string kittyPicture(const Bitmap& bitmap)
{
    std::string data = base64(pngOf(bitmap));
    std::string out;
    for (std::size_t at = 0; at < data.size(); at += KittyPieceBytes) {
        bool more = at + KittyPieceBytes < data.size();
        out += at == 0 ? "\033_Gf=100,a=T,m=" : "\033_Gm=";
        out += more ? "1;" : "0;";
        out += data.substr(at, KittyPieceBytes) + "\033\\";
    }
    return out + "\n";
}

std::string iTermPicture(const Bitmap& bitmap)
{
    Bytes png = pngOf(bitmap);
    return formatText("\033]1337;File=inline=1;size=%zu:", png.size()) + base64(png) + "\a\n";
}

int paletteIndex(const std::uint8_t* pixel)
{
    auto level = [](std::uint8_t value) { return (value * (Levels - 1) + 127) / 255; };
    return (level(pixel[0]) * Levels + level(pixel[1])) * Levels + level(pixel[2]);
}

/// One band: for every colour in it, the six rows of each column as a character, runs shortened.
void appendBand(std::string& out, const std::vector<int>& indices, int width, int rows)
{
    constexpr int Colours = Levels * Levels * Levels;
    for (int colour = 0; colour < Colours; ++colour) {
        std::string line;
        bool used = false;
        for (int x = 0; x < width; ++x) {
            int bits = 0;
            for (int row = 0; row < rows; ++row)
                bits |= (indices[static_cast<std::size_t>(row * width + x)] == colour ? 1 : 0) << row;
            used = used || bits != 0;
            line += static_cast<char>('?' + bits);
        }
        if (used)
            out += "#" + std::to_string(colour) + line + "$";
    }
    out += "-";
}

std::string sixelPicture(const Bitmap& bitmap)
{
    std::string out = "\033Pq";
    auto percent = [](int level) { return level * 100 / (Levels - 1); };
    for (int red = 0; red < Levels; ++red) {
        for (int green = 0; green < Levels; ++green) {
            for (int blue = 0; blue < Levels; ++blue)
                out += formatText("#%d;2;%d;%d;%d", (red * Levels + green) * Levels + blue, percent(red),
                    percent(green), percent(blue));
        }
    }
    Bitmap opaque = flattened(bitmap, Color::white());
    for (int top = 0; top < opaque.height; top += BandRows) {
        int rows = std::min(BandRows, opaque.height - top);
        std::vector<int> indices;
        for (int i = 0; i < rows * opaque.width; ++i)
            indices.push_back(
                paletteIndex(&opaque.pixels[static_cast<std::size_t>(top * opaque.width + i) * Channels]));
        appendBand(out, indices, opaque.width, rows);
    }
    return out + "\033\\\n";
}

} // namespace

std::optional<PictureProtocol> protocolNamed(std::string_view name)
{
    if (name == "kitty")
        return PictureProtocol::Kitty;
    if (name == "iterm")
        return PictureProtocol::ITerm;
    if (name == "sixel")
        return PictureProtocol::Sixel;
    return std::nullopt;
}

std::optional<PictureProtocol> terminalProtocol()
{
    std::string program = environment("TERM_PROGRAM");
    if (!environment("KITTY_WINDOW_ID").empty() || environment("TERM") == "xterm-kitty" || program == "ghostty")
        return PictureProtocol::Kitty;
    if (program == "iTerm.app" || program == "WezTerm" || program == "mintty")
        return PictureProtocol::ITerm;
    // "4" among the attributes says sixels.
    std::string attributes = deviceAttributes();
    if (attributes.find(";4;") != std::string::npos || attributes.find(";4c") != std::string::npos)
        return PictureProtocol::Sixel;
    return std::nullopt;
}

std::string terminalPicture(const Bitmap& bitmap, PictureProtocol protocol)
{
    switch (protocol) {
    case PictureProtocol::Kitty:
        return kittyPicture(bitmap);
    case PictureProtocol::ITerm:
        return iTermPicture(bitmap);
    case PictureProtocol::Sixel:
        return sixelPicture(bitmap);
    }
    return "";
}

} // namespace mv::cli
