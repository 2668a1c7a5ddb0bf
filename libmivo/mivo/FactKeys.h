#pragma once

#include <string_view>

// Keys of what a MediaClient gives and takes. docs/media1.md says more of each.

/// What is known of a file. A fact that is not known is not there. Keys in "mpris:" and "xesam:" mean what the MPRIS
/// specification says of them.
namespace mivo::keys::fact {

/// "audio", "video" or "picture" (text).
inline constexpr std::string_view Kind = "mivo:kind";
/// By content, in the names of shared-mime-info (text).
inline constexpr std::string_view MimeType = "mivo:mimeType";
/// File URI, of calls with a path only (text).
inline constexpr std::string_view Url = "xesam:url";
/// Of the file (integer, bytes).
inline constexpr std::string_view Size = "mivo:size";
/// Since 1970 UTC (integer, microseconds).
inline constexpr std::string_view Modified = "mivo:modified";
/// Playing time (integer, microseconds).
inline constexpr std::string_view Length = "mpris:length";
/// Title (text).
inline constexpr std::string_view Title = "xesam:title";
/// Album (text).
inline constexpr std::string_view Album = "xesam:album";
/// Artists in the file's order (texts).
inline constexpr std::string_view Artist = "xesam:artist";
/// Artists of the album (texts).
inline constexpr std::string_view AlbumArtist = "xesam:albumArtist";
/// Composers (texts).
inline constexpr std::string_view Composer = "xesam:composer";
/// Genres, names for numbers (texts).
inline constexpr std::string_view Genre = "xesam:genre";
/// Comments without a description (texts).
inline constexpr std::string_view Comment = "xesam:comment";
/// Place on the disc (integer).
inline constexpr std::string_view TrackNumber = "xesam:trackNumber";
/// Tracks of the disc (integer).
inline constexpr std::string_view TrackTotal = "mivo:trackTotal";
/// Disc of the set (integer).
inline constexpr std::string_view DiscNumber = "xesam:discNumber";
/// Discs of the set (integer).
inline constexpr std::string_view DiscTotal = "mivo:discTotal";
/// As precise as the file is; of a picture when it was taken, in the camera's local time (text, ISO 8601).
inline constexpr std::string_view ContentCreated = "xesam:contentCreated";
/// Lyrics (text).
inline constexpr std::string_view AsText = "xesam:asText";
/// Tempo (integer, beats a minute).
inline constexpr std::string_view AudioBpm = "xesam:audioBPM";
/// Part of a compilation (boolean).
inline constexpr std::string_view Compilation = "mivo:compilation";
/// Whether pictures are embedded (boolean).
inline constexpr std::string_view HasPicture = "mivo:hasPicture";
/// FFmpeg's short name of the sound's format (text).
inline constexpr std::string_view AudioCodec = "mivo:audioCodec";
/// FFmpeg's short name of the moving pictures' format (text).
inline constexpr std::string_view VideoCodec = "mivo:videoCodec";
/// Of the sound (integer, Hz).
inline constexpr std::string_view SampleRate = "mivo:sampleRate";
/// Of the sound (integer).
inline constexpr std::string_view Channels = "mivo:channels";
/// Lossless formats only (integer, bits).
inline constexpr std::string_view BitsPerSample = "mivo:bitsPerSample";
/// The sound's average, as the stream states it, else measured; a movie's is the whole file's (integer, bit/s).
inline constexpr std::string_view Bitrate = "mivo:bitrate";
/// As stored, before turning (integer, pixels).
inline constexpr std::string_view Width = "mivo:width";
/// As stored, before turning (integer, pixels).
inline constexpr std::string_view Height = "mivo:height";
/// Average of a movie's pictures (real, 1/s).
inline constexpr std::string_view FrameRate = "mivo:frameRate";
/// Exif's 1 to 8; videos that turn too (integer).
inline constexpr std::string_view Orientation = "mivo:orientation";
/// Maker of the camera (text).
inline constexpr std::string_view CameraMake = "mivo:cameraMake";
/// Model of the camera (text).
inline constexpr std::string_view CameraModel = "mivo:cameraModel";
/// Model of the lens (text).
inline constexpr std::string_view Lens = "mivo:lens";
/// Exposure (real, seconds).
inline constexpr std::string_view ExposureTime = "mivo:exposureTime";
/// Aperture (real).
inline constexpr std::string_view FNumber = "mivo:fNumber";
/// Of the lens, not converted (real, mm).
inline constexpr std::string_view FocalLength = "mivo:focalLength";
/// Sensitivity (integer).
inline constexpr std::string_view Iso = "mivo:iso";
/// North (real, degrees).
inline constexpr std::string_view Latitude = "mivo:latitude";
/// East (real, degrees).
inline constexpr std::string_view Longitude = "mivo:longitude";
/// Above sea level (real, metres).
inline constexpr std::string_view Altitude = "mivo:altitude";

/// Of changes only: the first front cover (data).
inline constexpr std::string_view FrontCover = "mivo:frontCover";

} // namespace mivo::keys::fact

/// Options of MediaClient::thumbnail.
namespace mivo::keys::thumbnailing {
/// "png" (and so unless given), "jpeg" (what is clear becomes white) or "rgba" (text).
inline constexpr std::string_view Format = "format";
/// Turned as the file says; true unless given (boolean).
inline constexpr std::string_view Upright = "upright";
} // namespace mivo::keys::thumbnailing

/// Options of MediaClient::encode.
namespace mivo::keys::encoding {
/// "mp3" or "aac"; by the destination's ending unless given (text).
inline constexpr std::string_view Format = "format";
/// In bits per second, 8000 to 320000; 192000 unless given (integer).
inline constexpr std::string_view Bitrate = "bitrate";
/// Of MP3: as many bits as each moment needs; false unless given (boolean).
inline constexpr std::string_view Vbr = "vbr";
/// "fast", "standard" (and so unless given) or "best" (text).
inline constexpr std::string_view Quality = "quality";
/// Carries the source's tags and pictures; true unless given (boolean).
inline constexpr std::string_view Tags = "tags";
/// A file at the destination is replaced; false, and Error::Kind::Exists, unless given (boolean).
inline constexpr std::string_view Replace = "replace";
/// How many cores the job may use; 0, and so unless given, is what is free (integer).
inline constexpr std::string_view Cores = "cores";
/// Of MP3: "mono", "stereo" or "joint"; mono stays mono, and everything else is joint, unless given (text).
inline constexpr std::string_view Mode = "mode";
} // namespace mivo::keys::encoding
