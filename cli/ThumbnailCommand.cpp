#include "Base/Media/MediaDB.h"
#include "cli/Command.h"
#include "cli/InputPath.h"
#include "cli/OutputFile.h"
#include "cli/PictureFile.h"
#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"
#include "cli/TerminalPicture.h"
#include "client/ImageClient.h"
#include "service/image/NSImageExtension.h"

#include <cstdio>

namespace mv::cli {

namespace {

constexpr const char* Name = "thumbnail";
constexpr int LargestSide = 16384;
constexpr int LargestCategory = 1000;
// What the picture service makes of a picture without further wishes.
constexpr FloatSize PictureSize { 100, 100 };

struct Wish {
    std::optional<FloatSize> size;
    int category = ThumbnailCategoryPicture;
};

Result<FloatSize> sizeFrom(const std::string& text)
{
    auto cross = text.find('x');
    if (cross == std::string::npos)
        return Error { Error::Kind::Format, "--size takes WIDTHxHEIGHT, such as 320x240" };
    MV_TRY(width, numberIn("size", text.substr(0, cross), 1, LargestSide));
    MV_TRY(height, numberIn("size", text.substr(cross + 1), 1, LargestSide));
    return FloatSize { static_cast<float>(width), static_cast<float>(height) };
}

Result<Wish> wishFrom(const Arguments& arguments)
{
    Wish wish;
    if (arguments.has("size")) {
        MV_TRY(size, sizeFrom(arguments.value("size")));
        wish.size = size;
    }
    if (arguments.has("category")) {
        MV_TRY(category, numberIn("category", arguments.value("category"), 0, LargestCategory));
        wish.category = category;
    }
    return wish;
}

/// The services' own interface knows thumbnails of category 2 only; the others are rendered here, by the same code.
std::optional<Bytes> renderHere(const Path& path, const Wish& wish)
{
    auto image = NSImage::initWithContentsOfFile(path);
    if (!image)
        return std::nullopt;
    if (wish.size)
        return makeThumbnailForContentCategoryWithMaxSize(*image, wish.category, *wish.size);
    return makeThumbnailForContentCategory(*image, wish.category);
}

Result<Bytes> thumbnailOfPicture(ServiceBus& bus, const Path& path, const Wish& wish)
{
    std::optional<Bytes> tiff;
    if (wish.category == ThumbnailCategoryPicture) {
        MV_TRY(answer, ImageClient(bus).makeThumbnail(path, wish.size.value_or(PictureSize)));
        if (answer)
            tiff = std::move(answer->tiff);
    } else {
        tiff = renderHere(path, wish);
    }
    if (!tiff)
        return Error { Error::Kind::Format, "is no picture that a thumbnail can be made of" };
    return std::move(*tiff);
}

/// Cover art and video frames come with the file's record, in the size that the services give them.
Result<Bytes> thumbnailOfMedia(ServiceBus& bus, const Path& path, const Wish& wish)
{
    if (wish.size || wish.category != ThumbnailCategoryPicture)
        return Error { Error::Kind::Unsupported, "--size and --category are for picture files only" };
    MV_TRY(record, describeFile(bus, path));
    if (record) {
        for (std::string_view key : { MediaDBMusicColumnAlbumArt, MediaDBVideoColumnImage }) {
            if (const Bytes* data = record->data(key))
                return *data;
        }
    }
    return Error { Error::Kind::NotFound, "has no picture" };
}

Result<Bytes> thumbnailOf(ServiceBus& bus, const Path& path, const Wish& wish)
{
    if (describingService(path) == ImageParserService)
        return thumbnailOfPicture(bus, path, wish);
    return thumbnailOfMedia(bus, path, wish);
}

Result<void> show(const Bytes& tiff, const Arguments& arguments)
{
    auto protocol = arguments.has("protocol") ? protocolNamed(arguments.value("protocol")) : std::nullopt;
    if (arguments.has("protocol") && !protocol)
        return Error { Error::Kind::Format, "--protocol is kitty, iterm or sixel" };
    if (!protocol && outputIsTerminal())
        protocol = terminalProtocol();
    if (!protocol)
        return Error { Error::Kind::Unsupported, "this terminal shows no pictures (see --protocol)" };
    MV_TRY(bitmap, bitmapOf(tiff));
    std::string text = terminalPicture(bitmap, *protocol);
    std::fwrite(text.data(), 1, text.size(), stdout);
    return {};
}

Result<void> save(const Bytes& tiff, const std::string& name)
{
    MV_TRY(path, outputPath(name));
    MV_TRY(content, pictureFor(path.pathExtension(), tiff));
    return writeFile(path, content);
}

Result<void> makeThumbnail(ServiceBus& bus, const Arguments& arguments)
{
    MV_TRY(wish, wishFrom(arguments));
    MV_TRY(path, inputPath(arguments.files()[0]));
    MV_TRY(tiff, thumbnailOf(bus, path, wish));
    if (arguments.files().size() > 1)
        MV_TRY_VOID(save(tiff, arguments.files()[1]));
    if (arguments.has("show"))
        MV_TRY_VOID(show(tiff, arguments));
    return {};
}

int run(const Arguments& arguments)
{
    if (arguments.files().size() < 2 && !arguments.has("show")) {
        complain(Name, "where shall the thumbnail go? Name a file, or say --show.");
        return 1;
    }
    auto service = openService(Name, arguments);
    if (!service)
        return 1;
    auto result = makeThumbnail(*service->bus, arguments);
    if (result)
        return 0;
    complain(Name, arguments.files()[0], sentenceFor(result.error()));
    return 1;
}

constexpr std::array kOptions {
    Option { "size", "WxH", "the box that the thumbnail fits into, in pixels (default 100x100)" },
    Option {
        "category", "N", "1 album art, 200x200 with margins; 2 picture, no margins (default); 3 video frame, 130x90" },
    Option { "show", nullptr, "show the thumbnail on a terminal that can" },
    Option { "protocol", "NAME", "how to show it: kitty, iterm or sixel (default: what the terminal says)" },
};

} // namespace

const Command thumbnailCommand {
    .name = Name,
    .synopsis = "[OPTION...] FILE [OUT]",
    .summary = "Make a thumbnail of a picture, or take the one of a song or video",
    .details = "The ending of OUT says what it becomes: .tif, .png or .jpg.",
    .options = kOptions,
    .minimumFiles = 1,
    .maximumFiles = 2,
    .run = run,
};

} // namespace mv::cli
