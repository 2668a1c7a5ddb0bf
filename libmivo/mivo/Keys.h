#pragma once

#include <string_view>

/// Keys of records. What each says, in which unit, and when it is missing stands in docs/records.md.
namespace mivo::keys {

// Of every description.
inline constexpr std::string_view FilePath = "FilePath";
inline constexpr std::string_view FileName = "FileName";
inline constexpr std::string_view FileSize = "FileSize";
inline constexpr std::string_view MediaType = "MediaType";
inline constexpr std::string_view FileTypeString = "FileTypeString";
inline constexpr std::string_view IsManaged = "IsManaged";
inline constexpr std::string_view LinkError = "LinkError";
inline constexpr std::string_view ReservedInt = "ReservedInt";
/// Of songs: the comment.
inline constexpr std::string_view ReservedText = "ReservedText";
inline constexpr std::string_view DateAdded = "DateAdded";
inline constexpr std::string_view DateCreated = "DateCreated";
inline constexpr std::string_view DateModified = "DateModified";
inline constexpr std::string_view Title = "Title";
inline constexpr std::string_view Rating = "Rating";
inline constexpr std::string_view PlayCount = "PlayCount";
inline constexpr std::string_view PlayState = "PlayState";
inline constexpr std::string_view IsChecked = "IsChecked";
inline constexpr std::string_view IsReadOnly = "IsReadOnly";
inline constexpr std::string_view IsLicenseExpired = "IsLicenseExpired";
inline constexpr std::string_view DRMProperty = "DRMProperty";

// Of songs and movies.
inline constexpr std::string_view PlayLength = "PlayLength";
inline constexpr std::string_view Bitrate = "Bitrate";

// Of songs.
inline constexpr std::string_view Artist = "Artist";
inline constexpr std::string_view Album = "Album";
inline constexpr std::string_view AlbumArtist = "AlbumArtist";
inline constexpr std::string_view AlbumArt = "AlbumArt";
inline constexpr std::string_view AlbumRating = "AlbumRating";
inline constexpr std::string_view Composer = "Composer";
inline constexpr std::string_view Genre = "Genre";
inline constexpr std::string_view TrackNo = "TrackNo";
inline constexpr std::string_view DiscNo = "DiscNo";
inline constexpr std::string_view DateReleased = "DateReleased";
inline constexpr std::string_view Samplerate = "Samplerate";
inline constexpr std::string_view HasLyrics = "HasLyrics";

// Of movies and pictures.
inline constexpr std::string_view Width = "Width";
inline constexpr std::string_view Height = "Height";
inline constexpr std::string_view Image = "Image";
inline constexpr std::string_view VideoCodec = "VCodec";
inline constexpr std::string_view AudioCodec = "ACodec";
inline constexpr std::string_view Creator = "Creator";
inline constexpr std::string_view Description = "Description";
inline constexpr std::string_view CameraModel = "CameraModel";
inline constexpr std::string_view DatePictured = "DatePictured";
inline constexpr std::string_view Orientation = "Orientation";

/// Of what Client::thumbnail gives.
namespace thumbnail {
inline constexpr std::string_view Data = "data"; ///< a TIFF picture
inline constexpr std::string_view Width = "width"; ///< of the source, in pixels
inline constexpr std::string_view Height = "height"; ///< of the source, in pixels
} // namespace thumbnail

/// Of what Client::exif gives: texts for people, but for the version's number and the date.
namespace exif {
inline constexpr std::string_view Vendor = "vendor";
inline constexpr std::string_view Model = "model";
inline constexpr std::string_view Orientation = "orientation";
inline constexpr std::string_view MaxAperture = "maxAperture";
inline constexpr std::string_view FocalLength = "focalLength";
inline constexpr std::string_view ShutterSpeed = "shutterSpeed";
inline constexpr std::string_view FNumber = "F_value";
inline constexpr std::string_view ExposureBias = "exposureBias";
inline constexpr std::string_view ExposureProgram = "exposureProgram";
inline constexpr std::string_view MeteringMode = "meteringMode";
inline constexpr std::string_view Iso = "iso";
inline constexpr std::string_view WhiteBalance = "whiteBalance";
inline constexpr std::string_view Flash = "flash";
inline constexpr std::string_view FlashMode = "flashMode";
inline constexpr std::string_view ColorSpace = "colorSpace";
inline constexpr std::string_view SceneCaptureType = "sceneCaptureType";
inline constexpr std::string_view Version = "version";
inline constexpr std::string_view RedEyeReduction = "redEyeReduction";
inline constexpr std::string_view VersionNumber = "versionNumber";
inline constexpr std::string_view Date = "date";
} // namespace exif

/// Of what Client::podcast gives: texts.
namespace podcast {
inline constexpr std::string_view EpisodeId = "kMediaTagPodcastEpisodeId";
inline constexpr std::string_view ChannelUrl = "kMediaTagPodcastChannelUrl";
} // namespace podcast

/// Attributes for Client::encode.
namespace encoder {
/// In bits per second; 192000 unless given.
inline constexpr std::string_view Bitrate = "MVAudioEncoderBitrateAttribute";
/// In Hz; 0, the source's, unless given.
inline constexpr std::string_view SamplingRate = "MVAudioEncoderSamplingRateAttribute";
/// True for a variable bit rate; false unless given.
inline constexpr std::string_view VariableBitrate = "MVAudioEncoderVBRAttribute";
/// 1 mono, 2 stereo, 3 joint stereo; 2 unless given. The value is spelt so.
inline constexpr std::string_view StereoMode = "MVMP3EncoderStereoModeAttribte";
/// 0 fast, 1 standard, 2 best; 1 unless given.
inline constexpr std::string_view Quality = "MVMP3EncoderQualityAttribute";
/// True, and so unless given: every source is converted as a listener expects. False: by the service's fixed rules.
inline constexpr std::string_view ExactConversion = "MVAudioEncoderExactConversionAttribute";
} // namespace encoder

} // namespace mivo::keys
