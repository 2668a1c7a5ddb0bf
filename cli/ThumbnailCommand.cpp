#include "Base/Core/Text.h"
#include "cli/Command.h"
#include "cli/Destination.h"
#include "cli/FactBatches.h"
#include "cli/InputPath.h"
#include "cli/JobOptions.h"
#include "cli/MediaPicture.h"
#include "cli/Output.h"
#include "cli/PictureDecoding.h"
#include "cli/PictureFile.h"
#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"
#include "cli/TerminalPicture.h"
#include "cli/ThumbnailCaching.h"
#include "cli/ThumbnailFiles.h"
#include "cli/UprightThumbnail.h"
#include "service/include/MVImageInfoBuilder.h"

namespace mv::cli {

namespace {

constexpr const char* Name = "thumbnail";
constexpr int MaxSide = 16384;
constexpr int MaxCategory = 1000;
// What the picture service makes of a picture without further wishes.
constexpr FloatSize UsualSize { 100, 100 };

struct Wish {
    std::optional<FloatSize> size;
    int category = ThumbnailCategoryPicture;
    bool asStored = false; ///< not turned
    std::optional<PictureProtocol> protocol;
    std::string form; ///< of the file, as the ending of a name
};

Result<FloatSize> sizeFrom(const std::string& text)
{
    auto cross = text.find('x');
    if (cross == std::string::npos)
        return Error { Error::Kind::Format, "--size takes WIDTHxHEIGHT, such as 320x240" };
    MV_TRY(width, numberIn("size", text.substr(0, cross), 1, MaxSide));
    MV_TRY(height, numberIn("size", text.substr(cross + 1), 1, MaxSide));
    return FloatSize { static_cast<float>(width), static_cast<float>(height) };
}

/// The ending of the name says it; what can have none, as standard output, gets a PNG.
Result<std::string> formFor(const std::string& name)
{
    std::string form = toLowerAscii(Path(name).pathExtension());
    if (isPictureForm(form))
        return form;
    auto destination = Destination::find(name);
    if (form.empty() && destination && !destination->isFile())
        return std::string("png");
    return Error { Error::Kind::Format, name + ": the name must end in .tif, .png or .jpg" };
}

Result<Wish> wishFrom(const Arguments& arguments)
{
    Wish wish;
    wish.asStored = arguments.has("as-stored");
    if (arguments.has("size")) {
        MV_TRY(size, sizeFrom(arguments.value("size")));
        wish.size = size;
    }
    wish.category = arguments.number("category", wish.category);
    wish.protocol = protocolNamed(arguments.value("protocol"));
    if (arguments.files().size() > 1) {
        MV_TRY(form, formFor(arguments.files()[1]));
        wish.form = form;
    }
    return wish;
}

/// The services' own interface knows thumbnails of category 2 only; the others are rendered for the tool, by the same
/// code.
Result<Bytes> thumbnailOfPicture(ServiceBus& bus, const Path& path, const Wish& wish)
{
    Orientation orientation = wish.asStored ? Orientation {} : orientationOf(path);
    std::optional<Bytes> tiff;
    if (wish.category == ThumbnailCategoryPicture) {
        MV_TRY(made, makeTurnedThumbnail(bus, path, wish.size.value_or(UsualSize), orientation));
        tiff = std::move(made);
    } else {
        MV_TRY(made, thumbnailOfFile(path, wish.category, wish.size, orientation));
        tiff = std::move(made);
    }
    if (!tiff)
        return Error { Error::Kind::Format, "is no picture that a thumbnail can be made of" };
    return std::move(*tiff);
}

Result<Bytes> thumbnailOfMedia(ServiceBus& bus, const Path& path)
{
    MV_TRY(record, describeFile(bus, path));
    MV_TRY(picture, pictureOfMedia(bus, path, record.value_or(Record {})));
    if (!picture)
        return Error { Error::Kind::NotFound, "has no picture" };
    return std::move(*picture);
}

Result<Bytes> thumbnailOf(ServiceBus& bus, const Path& path, const Wish& wish)
{
    if (describingService(path) == ImageParserService)
        return thumbnailOfPicture(bus, path, wish);
    return thumbnailOfMedia(bus, path);
}

Result<void> show(const Bytes& tiff, std::optional<PictureProtocol> protocol)
{
    if (!protocol && outputIsTerminal())
        protocol = terminalProtocol();
    if (!protocol)
        return Error { Error::Kind::Unsupported, "this terminal shows no pictures (see --protocol)" };
    MV_TRY(bitmap, bitmapOfTiff(tiff));
    print(terminalPicture(bitmap, *protocol));
    return {};
}

ExitStatus failed(const std::string& file, const Error& error)
{
    complain(Name, file, sentenceFor(error));
    return statusFor(error);
}

ExitStatus save(const Bytes& tiff, const std::string& form, const std::string& name, const Destination& destination)
{
    auto content = pictureFor(form, tiff);
    auto written = content ? destination.write(*content) : Result<void>(content.error());
    return written ? ExitStatus::Done : failed(name, written.error());
}

ExitStatus makeThumbnail(
    const Arguments& arguments, const Path& path, const Wish& wish, const std::optional<Destination>& destination)
{
    auto service = openService(Name, arguments);
    if (!service)
        return ExitStatus::NoService;
    auto tiff = thumbnailOf(*service->bus, path, wish);
    if (!tiff)
        return failed(arguments.files()[0], tiff.error());
    ExitStatus status = ExitStatus::Done;
    if (destination)
        status = save(*tiff, wish.form, arguments.files()[1], *destination);
    if (!arguments.has("show"))
        return status;
    auto shown = show(*tiff, wish.protocol);
    return shown ? status : worse(status, failed(arguments.files()[0], shown.error()));
}

/// What one way of making thumbnails takes, another does not.
std::optional<std::string> slipWith(
    const Arguments& arguments, const char* way, std::initializer_list<const char*> others)
{
    for (const char* other : others) {
        if (arguments.has(other))
            return std::string("--") + other + " does not go with --" + way;
    }
    return std::nullopt;
}

/// Thumbnails for file managers need none of the wishes.
ExitStatus cache(const Arguments& arguments)
{
    if (auto slip = slipWith(arguments, "cache", { "category", "as-stored", "show", "protocol", "output" }))
        return misuse(Name, *slip);
    auto sizes = thumbnailSizesFrom(arguments.value("size", "normal,large"));
    return sizes ? cacheThumbnails(arguments.files(), *sizes) : misuse(Name, sizes.error().text);
}

ExitStatus makeMany(const Arguments& arguments)
{
    if (auto slip = slipWith(arguments, "output", { "category", "show", "protocol" }))
        return misuse(Name, *slip);
    if (const char* slip = FileNames::slipIn(arguments))
        return misuse(Name, slip);
    auto wish = thumbnailFilesWishFrom(arguments);
    if (!wish)
        return misuse(Name, wish.error().text);
    if (arguments.files().size() > 1 && !wish->pattern.isForMany())
        return misuse(Name, "--output: without %s in the pattern all thumbnails would have one name");
    auto names = FileNames::of(arguments);
    if (names)
        return thumbnailFiles(Name, arguments, *names, *wish);
    complain(Name, names.error().text);
    return ExitStatus::SomeFailed;
}

const char* slipIn(const Arguments& arguments, const Path& path, const Wish& wish)
{
    if (arguments.files().size() < 2 && !arguments.has("show"))
        return "where shall the thumbnail go? Name a file, or say --show.";
    bool isMedia = describingService(path) != ImageParserService;
    if (isMedia && (wish.size || wish.category != ThumbnailCategoryPicture))
        return "--size and --category are for picture files only";
    return nullptr;
}

ExitStatus run(const Arguments& arguments)
{
    if (arguments.has("output") && !arguments.has("cache"))
        return makeMany(arguments);
    for (const char* other : { "files-from", "null", "recursive", "jobs" }) {
        if (arguments.has(other))
            return misuse(Name, std::string("--") + other + " goes with --output");
    }
    if (arguments.files().empty())
        return misuse(Name, "there is a file name missing");
    if (arguments.has("cache"))
        return cache(arguments);
    if (arguments.files().size() > 2)
        return misuse(Name, "there are too many file names; --output is for many");
    auto wish = wishFrom(arguments);
    if (!wish)
        return misuse(Name, wish.error().text);
    if (const char* slip = slipIn(arguments, arguments.files()[0], *wish))
        return misuse(Name, slip);
    auto path = inputPath(arguments.files()[0]);
    if (!path)
        return failed(arguments.files()[0], path.error());
    std::optional<Destination> destination;
    if (arguments.files().size() > 1) {
        auto found = Destination::find(arguments.files()[1]);
        if (!found)
            return failed(arguments.files()[1], found.error());
        if (found->isFile() && sameFile(*path, found->path()))
            return failed(arguments.files()[0], { Error::Kind::State, "input and output are the same file" });
        destination = std::move(*found);
    }
    return makeThumbnail(arguments, *path, *wish, destination);
}

constexpr std::array Options {
    Option {
        "output", "PATTERN", "make thumbnails of many files; %s is each one's name without folder and ending", 'o' },
    Option { "size", "WxH", "the box that the thumbnail fits into, in pixels (default 100x100; --output 128x128)" },
    RecursiveOption,
    FilesFromOption,
    NullOption,
    CallsOption,
    Option { "cache", nullptr, "put thumbnails of folders where file managers look; --size names their sizes" },
    Option { "category", "N", "1 album art (200x200, with margins), 2 picture (default), 3 video frame (130x90)", 0,
        numberFrom(0, MaxCategory) },
    AsStoredOption,
    Option { "show", nullptr, "show the thumbnail on a terminal that can" },
    Option { "protocol", "NAME", "how to show it: kitty, iterm or sixel (default: what the terminal says)", 0,
        oneOf(PictureProtocolNames) },
};

constexpr std::array Files { aFile(), aFile("png jpg tif") };

} // namespace

const Command thumbnailCommand {
    .name = Name,
    .synopsis = "[OPTION...] FILE [OUT] | -o PATTERN FILE... | --cache [--size NAMES] FOLDER...",
    .summary = "Make a thumbnail of a picture, or take the one of a song or video",
    .details
    = "The ending of OUT says what it becomes: .tif, .png or .jpg. A device or pipe without one, and - for\n"
      "standard output, get a PNG. A file that is there is replaced.\n\n"
      "--output makes thumbnails of many files of all kinds at once, which are never larger than the picture is. A\n"
      "pattern that begins with a slash is a place for all of them; any other one counts from the folder of each\n"
      "file. It ends in .png or .jpg:\n"
      "  mivo thumbnail -o 'small-%s.jpg' --size 256 Pictures/*.jpg\n\n"
      "--cache makes the thumbnails that file managers share, of all media files in the folders and below, in\n"
      "the sizes that --size names: normal (128 pixels), large (256), x-large (512), xx-large (1024), or all\n"
      "(default normal,large). What has valid ones is left alone; what begins with a dot is left out.",
    .options = Options,
    .files = Files,
    .minimumFiles = 0,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
