#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace mv {

/// The kinds of values of facts, with the letters that D-Bus has for them.
enum class FactType : std::uint8_t {
    Text, ///< s
    Texts, ///< as
    Integer, ///< i
    Unsigned, ///< u
    Long, ///< x
    UnsignedLong, ///< t
    Real, ///< d
    Flag, ///< b
};

/// The keys of facts. Keys in "mpris:" and "xesam:" mean what the MPRIS specification says of them.
namespace fact {
inline constexpr std::string_view Kind = "mivo:kind";
inline constexpr std::string_view MimeType = "mivo:mimeType";
inline constexpr std::string_view Url = "xesam:url";
inline constexpr std::string_view Size = "mivo:size";
inline constexpr std::string_view Modified = "mivo:modified";
inline constexpr std::string_view Length = "mpris:length";
inline constexpr std::string_view Title = "xesam:title";
inline constexpr std::string_view Album = "xesam:album";
inline constexpr std::string_view Artist = "xesam:artist";
inline constexpr std::string_view AlbumArtist = "xesam:albumArtist";
inline constexpr std::string_view Composer = "xesam:composer";
inline constexpr std::string_view Genre = "xesam:genre";
inline constexpr std::string_view Comment = "xesam:comment";
inline constexpr std::string_view TrackNumber = "xesam:trackNumber";
inline constexpr std::string_view TrackTotal = "mivo:trackTotal";
inline constexpr std::string_view DiscNumber = "xesam:discNumber";
inline constexpr std::string_view DiscTotal = "mivo:discTotal";
inline constexpr std::string_view ContentCreated = "xesam:contentCreated";
inline constexpr std::string_view AsText = "xesam:asText";
inline constexpr std::string_view AudioBpm = "xesam:audioBPM";
inline constexpr std::string_view Compilation = "mivo:compilation";
inline constexpr std::string_view HasPicture = "mivo:hasPicture";
inline constexpr std::string_view AudioCodec = "mivo:audioCodec";
inline constexpr std::string_view VideoCodec = "mivo:videoCodec";
inline constexpr std::string_view SampleRate = "mivo:sampleRate";
inline constexpr std::string_view Channels = "mivo:channels";
inline constexpr std::string_view BitsPerSample = "mivo:bitsPerSample";
inline constexpr std::string_view Bitrate = "mivo:bitrate";
inline constexpr std::string_view Width = "mivo:width";
inline constexpr std::string_view Height = "mivo:height";
inline constexpr std::string_view FrameRate = "mivo:frameRate";
inline constexpr std::string_view Orientation = "mivo:orientation";
inline constexpr std::string_view CameraMake = "mivo:cameraMake";
inline constexpr std::string_view CameraModel = "mivo:cameraModel";
inline constexpr std::string_view Lens = "mivo:lens";
inline constexpr std::string_view ExposureTime = "mivo:exposureTime";
inline constexpr std::string_view FNumber = "mivo:fNumber";
inline constexpr std::string_view FocalLength = "mivo:focalLength";
inline constexpr std::string_view Iso = "mivo:iso";
inline constexpr std::string_view Latitude = "mivo:latitude";
inline constexpr std::string_view Longitude = "mivo:longitude";
inline constexpr std::string_view Altitude = "mivo:altitude";
} // namespace fact

/// What a key stands for. Documentation, checks of what a worker says and the worker's bytes are made from these rows.
struct FactRow {
    std::string_view key;
    FactType type;
    std::string_view unit; ///< empty where there is none
    std::string_view meaning; ///< for people
};

/// Every key, in the order in which facts are given out.
inline constexpr std::array FactRows {
    FactRow { fact::Kind, FactType::Text, "", "\"audio\", \"video\" or \"picture\"" },
    FactRow { fact::MimeType, FactType::Text, "", "by content, in the names of shared-mime-info" },
    FactRow { fact::Url, FactType::Text, "", "file URI, of calls with a path only" },
    FactRow { fact::Size, FactType::UnsignedLong, "bytes", "of the file" },
    FactRow { fact::Modified, FactType::Long, "microseconds", "since 1970 UTC" },
    FactRow { fact::Length, FactType::Long, "microseconds", "playing time" },
    FactRow { fact::Title, FactType::Text, "", "title" },
    FactRow { fact::Album, FactType::Text, "", "album" },
    FactRow { fact::Artist, FactType::Texts, "", "artists in the file's order" },
    FactRow { fact::AlbumArtist, FactType::Texts, "", "artists of the album" },
    FactRow { fact::Composer, FactType::Texts, "", "composers" },
    FactRow { fact::Genre, FactType::Texts, "", "genres, names for numbers" },
    FactRow { fact::Comment, FactType::Texts, "", "comments without a description" },
    FactRow { fact::TrackNumber, FactType::Integer, "", "place on the disc" },
    FactRow { fact::TrackTotal, FactType::Integer, "", "tracks of the disc" },
    FactRow { fact::DiscNumber, FactType::Integer, "", "disc of the set" },
    FactRow { fact::DiscTotal, FactType::Integer, "", "discs of the set" },
    FactRow { fact::ContentCreated, FactType::Text, "ISO 8601",
        "as precise as the file is; of a picture when it was taken, in the camera's local time" },
    FactRow { fact::AsText, FactType::Text, "", "lyrics" },
    FactRow { fact::AudioBpm, FactType::Integer, "beats a minute", "tempo" },
    FactRow { fact::Compilation, FactType::Flag, "", "part of a compilation" },
    FactRow { fact::HasPicture, FactType::Flag, "", "whether pictures are embedded" },
    FactRow { fact::AudioCodec, FactType::Text, "", "FFmpeg's short name of the sound's format" },
    FactRow { fact::VideoCodec, FactType::Text, "", "FFmpeg's short name of the moving pictures' format" },
    FactRow { fact::SampleRate, FactType::Unsigned, "Hz", "of the sound" },
    FactRow { fact::Channels, FactType::Unsigned, "", "of the sound" },
    FactRow { fact::BitsPerSample, FactType::Unsigned, "bits", "lossless formats only" },
    FactRow { fact::Bitrate, FactType::Unsigned, "bit/s",
        "the sound's average, as the stream states it, else measured; a movie's is the whole file's" },
    FactRow { fact::Width, FactType::Unsigned, "pixels", "as stored, before turning" },
    FactRow { fact::Height, FactType::Unsigned, "pixels", "as stored, before turning" },
    FactRow { fact::FrameRate, FactType::Real, "1/s", "average of a movie's pictures" },
    FactRow { fact::Orientation, FactType::Unsigned, "", "Exif's 1 to 8; videos that turn too" },
    FactRow { fact::CameraMake, FactType::Text, "", "maker of the camera" },
    FactRow { fact::CameraModel, FactType::Text, "", "model of the camera" },
    FactRow { fact::Lens, FactType::Text, "", "model of the lens" },
    FactRow { fact::ExposureTime, FactType::Real, "seconds", "exposure" },
    FactRow { fact::FNumber, FactType::Real, "", "aperture" },
    FactRow { fact::FocalLength, FactType::Real, "mm", "of the lens, not converted" },
    FactRow { fact::Iso, FactType::Unsigned, "", "sensitivity" },
    FactRow { fact::Latitude, FactType::Real, "degrees", "north" },
    FactRow { fact::Longitude, FactType::Real, "degrees", "east" },
    FactRow { fact::Altitude, FactType::Real, "metres", "above sea level" },
};

/// The row of a key; nothing for what is no key.
constexpr std::optional<std::size_t> factRowOf(std::string_view key)
{
    for (std::size_t row = 0; row < FactRows.size(); ++row) {
        if (FactRows[row].key == key)
            return row;
    }
    return std::nullopt;
}

} // namespace mv
