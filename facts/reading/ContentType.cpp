#include "facts/reading/ContentType.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "id3/Id3v2Tag.h"
#include "id3/MpegHeader.h"
#include "pictures/PictureFormat.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

using namespace std::string_view_literals;

struct Magic {
    std::size_t offset;
    std::string_view bytes;
    FileFamily family;
    std::string_view mimeType;
};

constexpr std::array Magics {
    Magic { 0, "fLaC"sv, FileFamily::Flac, "audio/flac" },
    Magic { 0, "OggS"sv, FileFamily::Ogg, "audio/ogg" },
    Magic { 0, "MAC "sv, FileFamily::Monkey, "audio/x-ape" },
    Magic { 0, "wvpk"sv, FileFamily::WavPack, "audio/x-wavpack" },
    Magic { 0, "MPCK"sv, FileFamily::Musepack, "audio/x-musepack" },
    Magic { 0, "MP+"sv, FileFamily::Musepack, "audio/x-musepack" },
    Magic { 0, "TTA1"sv, FileFamily::TrueAudio, "audio/x-tta" },
    Magic { 0, "\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C"sv, FileFamily::Asf,
        "application/vnd.ms-asf" },
    Magic { 0, "#!AMR-WB\n"sv, FileFamily::OtherMovie, "audio/AMR-WB" },
    Magic { 0, "#!AMR\n"sv, FileFamily::OtherMovie, "audio/AMR" },
    Magic { 0, "FLV\1"sv, FileFamily::OtherMovie, "video/x-flv" },
    Magic { 0, "caff\0\1"sv, FileFamily::OtherMovie, "audio/x-caf" },
    Magic { 0, ".snd"sv, FileFamily::OtherMovie, "audio/basic" },
    Magic { 0, "\0\0\1\xBA"sv, FileFamily::OtherMovie, "video/mpeg" },
    Magic { 0, "\0\0\1\xB3"sv, FileFamily::OtherMovie, "video/mpeg" },
    Magic { 0, "\x0Bw"sv, FileFamily::OtherMovie, "audio/ac3" },
    Magic { 0, "APETAGEX"sv, FileFamily::MpegAudio, "audio/mpeg" },
};

/// Major brands, by their first characters: first come, first served.
constexpr std::array Brands {
    Magic { 8, "M4A"sv, FileFamily::IsoMedia, "audio/mp4" },
    Magic { 8, "M4B"sv, FileFamily::IsoMedia, "audio/x-m4b" },
    Magic { 8, "3g2"sv, FileFamily::IsoMedia, "video/3gpp2" },
    Magic { 8, "3g"sv, FileFamily::IsoMedia, "video/3gpp" },
    Magic { 8, "qt  "sv, FileFamily::IsoMedia, "video/quicktime" },
    Magic { 8, "mqt "sv, FileFamily::IsoMedia, "video/quicktime" },
};

bool has(std::string_view text, std::size_t offset, std::string_view bytes)
{
    return text.size() >= offset && text.substr(offset).starts_with(bytes);
}

ContentType pictureType(PictureFormat format, std::string_view front)
{
    switch (format) {
    case PictureFormat::Jpeg:
        return { FileFamily::Jpeg, "image/jpeg" };
    case PictureFormat::Png:
        return { FileFamily::Png, "image/png" };
    case PictureFormat::Gif:
        return { FileFamily::Gif, "image/gif" };
    case PictureFormat::Bmp:
        return { FileFamily::Bmp, "image/bmp" };
    case PictureFormat::Tiff:
        return { FileFamily::Tiff, "image/tiff" };
    case PictureFormat::WebP:
        return { FileFamily::WebP, "image/webp" };
    case PictureFormat::Heif:
        break;
    case PictureFormat::None:
        return {};
    }
    bool isAv1 = has(front, 8, "avi");
    for (std::size_t offset = 16; !isAv1 && has(front, 8, "mif1") && offset <= 24; offset += 4)
        isAv1 = has(front, offset, "avif");
    return { FileFamily::Heif, isAv1 ? "image/avif" : "image/heif" };
}

std::size_t boxSize(std::string_view front) { return ByteReader(bytesOf(front)).u32be(); }

ContentType isoType(std::string_view front)
{
    constexpr std::array FirstBoxes { "ftyp"sv, "moov"sv, "mdat"sv, "wide"sv, "free"sv, "skip"sv, "pnot"sv, "styp"sv };
    if (front.size() < 8 || std::find(FirstBoxes.begin(), FirstBoxes.end(), front.substr(4, 4)) == FirstBoxes.end())
        return {};
    // Without the box that names a brand it is QuickTime's, which had none.
    if (!has(front, 4, "ftyp"))
        return { FileFamily::IsoMedia, has(front, 4, "styp") ? "video/mp4" : "video/quicktime" };
    for (const Magic& brand : Brands) {
        if (has(front, brand.offset, brand.bytes))
            return { brand.family, brand.mimeType };
    }
    // Of a brand of its own the compatible ones say what it is like.
    constexpr std::array Known { "iso"sv, "mp4"sv, "MSNV"sv, "M4V "sv, "f4v "sv, "avc1"sv, "dash"sv };
    bool isKnown = std::any_of(Known.begin(), Known.end(), [&](std::string_view name) { return has(front, 8, name); });
    for (std::size_t at = 16; !isKnown && at + 4 <= std::min<std::size_t>(boxSize(front), front.size()); at += 4) {
        if (has(front, at, "3g2"))
            return { FileFamily::IsoMedia, "video/3gpp2" };
        if (has(front, at, "3gp"))
            return { FileFamily::IsoMedia, "video/3gpp" };
    }
    return { FileFamily::IsoMedia, "video/mp4" };
}

ContentType riffType(std::string_view front)
{
    bool isRiff = front.starts_with("RIFF") || front.starts_with("RF64") || front.starts_with("BW64");
    if (isRiff && has(front, 8, "WAVE"))
        return { FileFamily::Wave, "audio/x-wav" };
    if (isRiff && has(front, 8, "AVI "))
        return { FileFamily::OtherMovie, "video/x-msvideo" };
    if (front.starts_with("FORM") && (has(front, 8, "AIFF") || has(front, 8, "AIFC")))
        return { FileFamily::Aiff, has(front, 8, "AIFF") ? "audio/x-aiff" : "audio/x-aifc" };
    return {};
}

ContentType matroskaType(std::string_view front)
{
    if (!front.starts_with("\x1A\x45\xDF\xA3"))
        return {};
    // The name of the kind of document stands in the first element.
    bool isWeb = front.substr(0, 64).find("webm") != std::string_view::npos;
    return { FileFamily::Matroska, isWeb ? "video/webm" : "video/x-matroska" };
}

/// Packets of a transport stream each begin with one byte; four in a row are no chance.
bool isTransportStream(std::string_view front)
{
    constexpr std::size_t PacketSize = 188;
    if (front.size() < 3 * PacketSize + 1)
        return false;
    for (std::size_t i = 0; i < 4; ++i) {
        if (front[i * PacketSize] != 'G')
            return false;
    }
    return true;
}

/// Frames of MPEG audio, and of AAC with headers like them.
ContentType frameType(std::string_view front)
{
    if (front.size() < 2 || front[0] != '\xFF')
        return {};
    if ((static_cast<unsigned char>(front[1]) & 0xF6) == 0xF0)
        return { FileFamily::OtherMovie, "audio/aac" };
    auto header = MpegHeader::parse(bytesOf(front));
    if (!header)
        return {};
    return { FileFamily::MpegAudio, header->layer == 2 ? "audio/mp2" : "audio/mpeg" };
}

ContentType typeOfBytes(std::string_view front)
{
    for (const Magic& magic : Magics) {
        if (has(front, magic.offset, magic.bytes))
            return { magic.family, magic.mimeType };
    }
    if (auto picture = pictureType(formatOfBytes(bytesOf(front)), front); picture.family != FileFamily::None)
        return picture;
    for (auto* type : { riffType, isoType, matroskaType, frameType }) {
        if (auto found = type(front); found.family != FileFamily::None)
            return found;
    }
    if (isTransportStream(front))
        return { FileFamily::OtherMovie, "video/mp2t" };
    return {};
}

/// Where what the tags are about begins: behind the ID3v2 tags at the front, and the zeros that may follow them.
std::uint64_t behindTags(const ByteSource& file, Bytes& front)
{
    constexpr int MaxTags = 16;
    std::uint64_t offset = 0;
    for (int i = 0; i < MaxTags; ++i) {
        auto header = Id3v2Tag::parseHeader(front);
        if (!header)
            break;
        // Hardly a tag has a footer: nothing more is read for the others.
        offset += header->hasFooter() ? Id3v2Tag::sizeAt(offset, file) : header->totalSize();
        front.resize(ContentTypeBytes);
        front.resize(file.readUpTo(offset, front));
    }
    return offset;
}

} // namespace

ContentType contentType(const ByteSource& file, std::string_view name)
{
    Bytes front(ContentTypeBytes);
    front.resize(file.readUpTo(0, front));
    bool hasTag = behindTags(file, front) > 0;
    ContentType type = typeOfBytes(charsOf(front));
    // Pictures and the like behind a tag are what a player has to step over to find the sound.
    bool isSound = type.family >= FileFamily::MpegAudio && type.family <= FileFamily::TrueAudio;
    if (hasTag && !isSound && type.mimeType != "audio/aac")
        return { FileFamily::MpegAudio, "audio/mpeg" };
    if (type.family != FileFamily::None)
        return type;
    for (std::string_view ending : { "mp3", "mp2", "mpga" }) {
        if (hasEnding(name, ending))
            return { FileFamily::MpegAudio, "audio/mpeg" };
    }
    // A recording may begin within a frame.
    if (hasEnding(name, "aac") || hasEnding(name, "adts"))
        return { FileFamily::OtherMovie, "audio/aac" };
    for (std::string_view ending : { "ts", "mts", "m2ts" }) {
        if (hasEnding(name, ending))
            return { FileFamily::OtherMovie, "video/mp2t" };
    }
    if (hasEnding(name, "mpg") || hasEnding(name, "mpeg") || hasEnding(name, "vob"))
        return { FileFamily::OtherMovie, "video/mpeg" };
    return {};
}

bool hasEnding(std::string_view name, std::string_view ending)
{
    return name.size() > ending.size() && name[name.size() - ending.size() - 1] == '.'
        && equalIgnoringAsciiCase(name.substr(name.size() - ending.size()), ending);
}

} // namespace mv
