#include "facts/reading/TagPictures.h"

#include "Base/Core/Text.h"
#include "pictures/PictureFormat.h"

#include <algorithm>

namespace mv {

std::string pictureMimeType(ByteView data, std::string_view stated)
{
    switch (formatOfBytes(data.first(std::min(data.size(), PictureMagicBytes)))) {
    case PictureFormat::Jpeg:
        return "image/jpeg";
    case PictureFormat::Png:
        return "image/png";
    case PictureFormat::Gif:
        return "image/gif";
    case PictureFormat::Bmp:
        return "image/bmp";
    case PictureFormat::Tiff:
        return "image/tiff";
    case PictureFormat::WebP:
        return "image/webp";
    case PictureFormat::Heif:
    case PictureFormat::None:
        break;
    }
    constexpr std::size_t LongestType = 64;
    std::string type = toLowerAscii(stated.substr(0, std::min(stated.find('\0'), LongestType)));
    if (type == "image/jpg" || type == "jpg")
        return "image/jpeg";
    if (type == "png")
        return "image/png";
    return type.find('/') == std::string::npos ? std::string() : cleanedUtf8(type);
}

void TagSink::addPicture(std::uint32_t type, std::string_view mimeType, std::string_view description, ByteView data)
{
    if (data.empty())
        return;
    notePicture();
    // More than are given out are kept until the front cover is known; it is never far behind.
    constexpr std::size_t MaxKept = 4 * MaxFactPictures;
    if (!wantsPictures || pictures.size() >= MaxKept || data.size() > m_bytesLeft)
        return;
    m_bytesLeft -= data.size();
    FactPicture picture;
    picture.type = type <= LastPictureType ? type : 0;
    picture.mimeType = pictureMimeType(data, mimeType);
    picture.description = cleanedUtf8(description.substr(0, description.find('\0')));
    picture.data.assign(data.begin(), data.end());
    pictures.push_back(std::move(picture));
}

void TagSink::putInto(Facts& facts)
{
    texts.putInto(facts);
    std::stable_sort(pictures.begin(), pictures.end(), [](const FactPicture& a, const FactPicture& b) {
        return a.type == FrontCoverType && b.type != FrontCoverType;
    });
    if (pictures.size() > MaxFactPictures)
        pictures.resize(MaxFactPictures);
    facts.pictures = std::move(pictures);
}

} // namespace mv
