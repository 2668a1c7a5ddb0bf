#pragma once

#include "Base/Core/Bytes.h"
#include "system/ByteSource.h"

#include <string_view>

namespace mv {

/// The families of files that are read in one way each.
enum class FileFamily : std::uint8_t {
    None,
    MpegAudio, ///< MPEG audio, tags around it
    Flac,
    Ogg,
    Wave,
    Aiff,
    IsoMedia, ///< MP4, QuickTime, 3GP
    Asf,
    Monkey, ///< Monkey's Audio
    WavPack,
    Musepack,
    TrueAudio,
    Matroska,
    OtherMovie, ///< what only FFmpeg reads, with or without moving pictures
    Jpeg,
    Png,
    Gif,
    Bmp,
    Tiff,
    WebP,
    Heif,
};

struct ContentType {
    FileFamily family = FileFamily::None;
    /// The name in shared-mime-info 2.2; of Ogg, ASF, Matroska and ISO media a first one, which the streams may refine.
    std::string_view mimeType;
};

/// How many bytes contentType() wants to see at least, where the file has them.
inline constexpr std::size_t ContentTypeBytes = 4096;

/// The type by the first bytes of what is there behind ID3v2 tags. The name decides where those say nothing, as with
/// MPEG audio that begins with junk.
ContentType contentType(const ByteSource& file, std::string_view name);

/// True when `name` ends in a dot and `ending`, upper and lower case alike.
bool hasEnding(std::string_view name, std::string_view ending);

} // namespace mv
