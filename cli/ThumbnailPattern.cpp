#include "cli/ThumbnailPattern.h"

#include "Base/Core/Text.h"
#include "arguments/Arguments.h"

#include <algorithm>
#include <array>
#include <filesystem>

namespace mv::cli {

namespace {

namespace fs = std::filesystem;

struct Ending {
    std::string_view ending;
    ThumbnailFormat format;
};
constexpr std::array Endings { Ending { ".png", ThumbnailFormat::Png }, Ending { ".jpg", ThumbnailFormat::Jpeg },
    Ending { ".jpeg", ThumbnailFormat::Jpeg } };

} // namespace

Result<ThumbnailPattern> ThumbnailPattern::parse(const std::string& text)
{
    std::string ending = toLowerAscii(fs::path(text).extension().native());
    for (const Ending& one : Endings) {
        if (one.ending == ending)
            return ThumbnailPattern(text, one.format);
    }
    return Error { Error::Kind::Format, "--output: the pattern must end in .png or .jpg" };
}

std::string ThumbnailPattern::nameFor(const std::string& file) const
{
    fs::path path(file);
    std::string stem = path.stem().native();
    std::string name = m_text;
    for (auto at = name.find(Placeholder); at != std::string::npos; at = name.find(Placeholder, at + stem.size()))
        name.replace(at, Placeholder.size(), stem);
    // What begins with a slash is no name below the folder.
    return (path.parent_path() / name).native();
}

std::uint32_t ThumbnailBox::squareFor(std::uint32_t pictureWidth, std::uint32_t pictureHeight) const
{
    auto pictureLong = static_cast<double>(std::max(pictureWidth, pictureHeight));
    double scale = std::min(static_cast<double>(width) / pictureWidth, static_cast<double>(height) / pictureHeight);
    // Rounded up it would be a pixel too large at one of the sides.
    return std::max<std::uint32_t>(1, static_cast<std::uint32_t>(pictureLong * scale));
}

Result<ThumbnailBox> thumbnailBox(const std::string& text)
{
    auto cross = text.find('x');
    constexpr int Largest = MaxThumbnailSize;
    MV_TRY(width, numberIn("size", text.substr(0, cross), 1, Largest));
    if (cross == std::string::npos)
        return ThumbnailBox { static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(width) };
    MV_TRY(height, numberIn("size", text.substr(cross + 1), 1, Largest));
    return ThumbnailBox { static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height) };
}

} // namespace mv::cli
