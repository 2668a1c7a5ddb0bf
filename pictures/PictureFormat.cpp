#include "pictures/PictureFormat.h"

#include <array>
#include <string_view>

namespace mv {

namespace {

using namespace std::string_view_literals;

struct Magic {
    std::string_view bytes;
    PictureFormat format;
};

constexpr std::array Magics {
    Magic { "\xFF\xD8\xFF"sv, PictureFormat::Jpeg },
    Magic { "\x89PNG\r\n\x1A\n"sv, PictureFormat::Png },
    Magic { "GIF87a"sv, PictureFormat::Gif },
    Magic { "GIF89a"sv, PictureFormat::Gif },
    Magic { "BM"sv, PictureFormat::Bmp },
    Magic { "II*\0"sv, PictureFormat::Tiff },
    Magic { "MM\0*"sv, PictureFormat::Tiff },
    Magic { "II+\0"sv, PictureFormat::Tiff },
    Magic { "MM\0+"sv, PictureFormat::Tiff },
};

// Major brands of still pictures in the ISO media container: HEVC (hei., hev.), AV1 (avi.) and the codec-neutral ones.
constexpr std::array HeifBrands { "heic"sv, "heix"sv, "heim"sv, "heis"sv, "hevc"sv, "hevx"sv, "mif1"sv, "mif2"sv,
    "msf1"sv, "miaf"sv, "avif"sv, "avis"sv };

bool isHeif(std::string_view first)
{
    if (first.size() < 12 || first.substr(4, 4) != "ftyp")
        return false;
    for (std::string_view brand : HeifBrands) {
        if (first.substr(8, 4) == brand)
            return true;
    }
    return false;
}

} // namespace

PictureFormat formatOfBytes(ByteView first)
{
    std::string_view text = charsOf(first);
    for (const Magic& magic : Magics) {
        if (text.starts_with(magic.bytes))
            return magic.format;
    }
    if (text.size() >= 12 && text.starts_with("RIFF") && text.substr(8, 4) == "WEBP")
        return PictureFormat::WebP;
    return isHeif(text) ? PictureFormat::Heif : PictureFormat::None;
}

} // namespace mv
