#include "cli/TerminalPicture.h"

#include "Base/Core/Handle.h"
#include "Base/Core/Text.h"
#include "cli/Interruption.h"
#include "cli/PictureFile.h"
#include "cli/text/JsonText.h"
#include "png/PngFile.h"

#include <algorithm>
#include <chafa.h>
#include <cstdlib>
#include <memory>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace mv::cli {

namespace {

constexpr std::size_t Channels = 4;
// The kitty protocol takes base64 in pieces of at most this.
constexpr std::size_t KittyPieceBytes = 4096;
constexpr int AnswerTimeoutMilliseconds = 200;

using CanvasConfig = std::unique_ptr<ChafaCanvasConfig, CloseWith<chafa_canvas_config_unref>>;
using Canvas = std::unique_ptr<ChafaCanvas, CloseWith<chafa_canvas_unref>>;
using TermInfo = std::unique_ptr<ChafaTermInfo, CloseWith<chafa_term_info_unref>>;
struct FreeText {
    void operator()(GString* text) const { g_string_free(text, TRUE); }
};

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

/// Sixels come in bands of rows, and the library leaves out a band that is not full: clear rows fill it.
void fillLastBand(Bitmap& bitmap)
{
    constexpr int BandRows = 6;
    bitmap.height = (bitmap.height + BandRows - 1) / BandRows * BandRows;
    bitmap.pixels.resize(static_cast<std::size_t>(bitmap.width) * bitmap.height * Channels);
}

CanvasConfig sixelConfig(int width, int height)
{
    CanvasConfig config(chafa_canvas_config_new());
    chafa_canvas_config_set_pixel_mode(config.get(), CHAFA_PIXEL_MODE_SIXELS);
    chafa_canvas_config_set_canvas_mode(config.get(), CHAFA_CANVAS_MODE_TRUECOLOR);
    chafa_canvas_config_set_preprocessing_enabled(config.get(), FALSE);
    // A cell is a pixel here, so that nothing is scaled.
    chafa_canvas_config_set_cell_geometry(config.get(), 1, 1);
    chafa_canvas_config_set_geometry(config.get(), width, height);
    return config;
}

std::string sixelPicture(const Bitmap& bitmap)
{
    Bitmap whole = flattened(bitmap, Color::white());
    fillLastBand(whole);
    // One small picture is no work for several threads.
    chafa_set_n_threads(1);
    Canvas canvas(chafa_canvas_new(sixelConfig(whole.width, whole.height).get()));
    chafa_canvas_draw_all_pixels(canvas.get(), CHAFA_PIXEL_RGBA8_UNASSOCIATED, whole.pixels.data(), whole.width,
        whole.height, whole.width * static_cast<int>(Channels));
    TermInfo terminal(chafa_term_db_get_fallback_info(chafa_term_db_get_default()));
    std::unique_ptr<GString, FreeText> text(chafa_canvas_print(canvas.get(), terminal.get()));
    return std::string(text->str, text->len) + "\n";
}

} // namespace

std::optional<PictureProtocol> protocolNamed(std::string_view name)
{
    auto found = std::find(PictureProtocolNames.begin(), PictureProtocolNames.end(), name);
    if (found == PictureProtocolNames.end())
        return std::nullopt;
    return static_cast<PictureProtocol>(found - PictureProtocolNames.begin());
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
