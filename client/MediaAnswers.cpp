#include "client/MediaAnswers.h"

#include "Base/Core/Text.h"
#include "bus/BusError.h"
#include "client/ServiceBus.h"

#include <array>
#include <iterator>
#include <string_view>

namespace mv {

namespace {

constexpr std::string_view ErrorKey = "mivo:error";
constexpr std::string_view ErrorMessageKey = "mivo:errorMessage";
constexpr std::string_view PicturesKey = "mivo:pictures";

[[noreturn]] void failAnswer(const std::string& what) { throw BusError(BusErrorInvalidArgs, what); }

/// Reads an answer, of which the reader knows only that it is wrong.
template <class Read> auto readAnswer(const Read& read)
{
    try {
        return read();
    } catch (const BusError& error) {
        if (error.name() != BusErrorInvalidArgs)
            throw;
        throw BusError(WrongAnswer, "the service's answer is none: " + error.message());
    }
}

struct FactForm {
    std::string_view signature;
    FactValue (*read)(WireReader&);
};

template <auto Read> FactValue valueBy(WireReader& in) { return (in.*Read)(); }

/// By FactType.
constexpr std::array FactForms {
    FactForm { "s", valueBy<&WireReader::string> },
    FactForm { "as", valueBy<&WireReader::strings> },
    FactForm { "i", valueBy<&WireReader::integer> },
    FactForm { "u", valueBy<&WireReader::unsignedInteger> },
    FactForm { "x", valueBy<&WireReader::longInteger> },
    FactForm { "t", valueBy<&WireReader::unsignedLongInteger> },
    FactForm { "d", valueBy<&WireReader::real> },
    FactForm { "b", valueBy<&WireReader::boolean> },
};
static_assert(std::size(FactForms) == std::variant_size_v<FactValue>);

/// Takes an entry that is expected to have that type.
template <auto Read>
auto entryOf(WireReader& in, const std::string& key, std::string_view expected, std::string_view is)
{
    if (expected != is)
        failAnswer(formatText("\"%s\" is of another type", key.c_str()));
    return (in.*Read)();
}

void readFact(WireReader& in, Facts& facts, const std::string& key, const std::string& signature)
{
    auto row = factRowOf(key);
    if (!row)
        return in.skip(signature);
    const FactForm& form = FactForms[static_cast<std::size_t>(FactRows[*row].type)];
    if (form.signature != signature)
        failAnswer(formatText("\"%s\" is of another type", key.c_str()));
    facts.set(FactRows[*row].key, form.read(in));
}

MediaPicture readPicture(WireReader& in)
{
    MediaPicture picture;
    in.entries([&](const std::string& key, const std::string& signature) {
        if (key == "type")
            picture.type = entryOf<&WireReader::unsignedInteger>(in, key, "u", signature);
        else if (key == "mimeType")
            picture.mimeType = entryOf<&WireReader::string>(in, key, "s", signature);
        else if (key == "description")
            picture.description = entryOf<&WireReader::string>(in, key, "s", signature);
        else if (key == "data")
            picture.data = entryOf<&WireReader::handle>(in, key, "h", signature);
        else
            in.skip(signature);
    });
    if (!picture.data)
        failAnswer("a picture has no data");
    return picture;
}

std::vector<MediaPicture> readPictures(WireReader& in, const std::string& signature)
{
    if (signature != "aa{sv}")
        failAnswer("the pictures are of another type");
    std::vector<MediaPicture> pictures;
    in.list("a{sv}", [&] {
        if (pictures.size() == MaxFactPictures)
            failAnswer("there are more pictures than there can be");
        pictures.push_back(readPicture(in));
    });
    return pictures;
}

/// Facts, or why there are none.
Result<Facts> readOneOfMany(WireReader& in)
{
    Facts facts;
    std::string name;
    std::string message;
    in.entries([&](const std::string& key, const std::string& signature) {
        if (key == ErrorKey)
            name = entryOf<&WireReader::string>(in, key, "s", signature);
        else if (key == ErrorMessageKey)
            message = entryOf<&WireReader::string>(in, key, "s", signature);
        else
            readFact(in, facts, key, signature);
    });
    if (name.empty())
        return facts;
    if (!facts.entries().empty())
        failAnswer("a file has facts and an error");
    return mediaError(std::move(name), std::move(message));
}

Facts factsOf(WireReader& in)
{
    Facts facts;
    in.entries([&](const std::string& key, const std::string& signature) { readFact(in, facts, key, signature); });
    return facts;
}

MediaDescription descriptionOf(WireReader& in)
{
    MediaDescription description;
    in.entries([&](const std::string& key, const std::string& signature) {
        if (key == PicturesKey)
            description.pictures = readPictures(in, signature);
        else
            readFact(in, description.facts, key, signature);
    });
    return description;
}

MediaDescriptions descriptionsOf(WireReader& in, std::size_t paths)
{
    MediaDescriptions descriptions;
    descriptions.reserve(paths);
    in.list("a{sv}", [&] {
        if (descriptions.size() == paths)
            failAnswer("it tells of more files than were asked for");
        descriptions.push_back(readOneOfMany(in));
    });
    if (descriptions.size() != paths)
        failAnswer("it tells of fewer files than were asked for");
    return descriptions;
}

MediaThumbnail thumbnailOf(WireReader& in)
{
    MediaThumbnail thumbnail;
    thumbnail.picture = in.handle();
    Facts facts = factsOf(in);
    auto width = facts.get<std::uint32_t>(fact::Width);
    auto height = facts.get<std::uint32_t>(fact::Height);
    auto type = facts.get<std::string>(fact::MimeType);
    if (!width || !height || !type)
        failAnswer("it does not say what the picture is");
    thumbnail.width = *width;
    thumbnail.height = *height;
    thumbnail.mimeType = *type;
    return thumbnail;
}

Error::Kind kindOf(MediaErrorKind kind)
{
    switch (kind) {
    case MediaErrorKind::NotFound:
        return Error::Kind::NotFound;
    case MediaErrorKind::AccessDenied:
        return Error::Kind::Access;
    case MediaErrorKind::NotRegular:
    case MediaErrorKind::Exists:
        return Error::Kind::State;
    case MediaErrorKind::NotMedia:
    case MediaErrorKind::NoPicture:
    case MediaErrorKind::Crashed:
        return Error::Kind::Format;
    case MediaErrorKind::Unsupported:
        return Error::Kind::Unsupported;
    case MediaErrorKind::TooLarge:
    case MediaErrorKind::TimedOut:
        return Error::Kind::Limit;
    case MediaErrorKind::Cancelled:
        return Error::Kind::Cancelled;
    case MediaErrorKind::NoSpace:
    case MediaErrorKind::Failed:
        break;
    }
    return Error::Kind::Io;
}

} // namespace

std::optional<MediaErrorKind> mediaErrorKind(const Error& error)
{
    if (!error.name.starts_with(MediaErrorPrefix))
        return std::nullopt;
    std::string_view name = std::string_view(error.name).substr(MediaErrorPrefix.size());
    for (std::size_t i = 1; i <= static_cast<std::size_t>(LastMediaErrorKind); ++i) {
        if (name == nameOf(static_cast<MediaErrorKind>(i)))
            return static_cast<MediaErrorKind>(i);
    }
    // Of a later version.
    return MediaErrorKind::Failed;
}

bool isMissingService(const Error& error) { return error.kind == Error::Kind::NotFound && !mediaErrorKind(error); }

Error mediaError(std::string name, std::string message)
{
    try {
        throw BusError(std::move(name), std::move(message));
    } catch (const BusError&) {
        return mediaErrorOfCall();
    }
}

Error mediaErrorOfCall()
{
    Error error = errorOfCall();
    if (auto kind = mediaErrorKind(error))
        error.kind = kindOf(*kind);
    return error;
}

Facts readFacts(WireReader& in)
{
    return readAnswer([&] { return factsOf(in); });
}

MediaDescription readDescription(WireReader& in)
{
    return readAnswer([&] { return descriptionOf(in); });
}

MediaDescriptions readDescriptions(WireReader& in, std::size_t paths)
{
    return readAnswer([&] { return descriptionsOf(in, paths); });
}

MediaThumbnail readThumbnail(WireReader& in)
{
    return readAnswer([&] { return thumbnailOf(in); });
}

MediaJobPlace readJobPlace(WireReader& in)
{
    return readAnswer([&] { return MediaJobPlace { in.sender(), in.objectPath() }; });
}

} // namespace mv
