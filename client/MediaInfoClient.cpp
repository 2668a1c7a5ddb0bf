#include "client/MediaInfoClient.h"

#include "Base/Core/Text.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "service/include/ServiceNames.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

// Pictures that the image service takes though their endings have no media type code.
constexpr std::array<std::string_view, 6> MorePictures { "tif", "tiff", "webp", "heic", "heif", "avif" };

bool isMorePicture(std::string_view extension)
{
    return std::any_of(MorePictures.begin(), MorePictures.end(),
        [&](std::string_view one) { return equalIgnoringAsciiCase(one, extension); });
}

} // namespace

std::string_view describingService(const Path& path)
{
    switch (MVMediaTypeReader::knownType(path).value_or(MVMediaTypeUnknown)) {
    case MVMediaTypeMP3:
        return MP3ParserService;
    case MVMediaTypeM4A:
        return MP4ParserService;
    case MVMediaTypeFLAC:
    case MVMediaTypeOGG:
        return BasicAudioParserService;
    case MVMediaTypeJPG:
    case MVMediaTypeBMP:
    case MVMediaTypeGIF:
    case MVMediaTypePNG:
        return ImageParserService;
    case MVMediaTypeUnknown:
        return isMorePicture(path.pathExtension()) ? ImageParserService : AVParserService;
    default:
        return AVParserService;
    }
}

Result<std::optional<Record>> describeFile(ServiceBus& bus, const Path& path)
{
    return resultOf([&] { return MediaInfoClient(bus, describingService(path)).build(path); });
}

} // namespace mv
