#include "client/ServiceNames.h"

namespace mv {

std::string_view describingService(std::int32_t mediaType)
{
    switch (mediaType) {
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
    default:
        return AVParserService;
    }
}

} // namespace mv
