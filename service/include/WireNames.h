#pragma once

/// The interfaces on the session bus and the names of their members, once for those who serve them and those who call
/// them. An operation has the name there that it has in C++. The forms of arguments stand in dbus/*.xml.
namespace mv::wire {

using Name = const char*;

namespace MediaInfoBuilder {
inline constexpr Name Interface = "Mivo.MVMediaInfoBuilder";
inline constexpr Name build = "build";
} // namespace MediaInfoBuilder

namespace ImageInfoBuilder {
inline constexpr Name Interface = "Mivo.MVImageInfoBuilder";
inline constexpr Name makeThumbnailWithMaxSize = "makeThumbnailWithMaxSize";
} // namespace ImageInfoBuilder

namespace MediaTagBase {
inline constexpr Name Interface = "Mivo.MVMediaTagBase";
inline constexpr Name podcastInfo = "podcastInfo";
inline constexpr Name updateTagWithDictionary = "updateTagWithDictionary";
} // namespace MediaTagBase

namespace MP4ExporterBase {
inline constexpr Name Interface = "Mivo.MVMP4ExporterBase";
inline constexpr Name exportWithDelegateFromPathToMp4Path = "exportWithDelegateFromPathToMp4Path";
inline constexpr Name convertToAacWithDelegateFromPathToMp4PathBitrate
    = "convertToAacWithDelegateFromPathToMp4PathBitrate";
inline constexpr Name isAlacAudio = "isAlacAudio";
} // namespace MP4ExporterBase

/// Served by the client.
namespace MP4ExporterDelegate {
inline constexpr Name Interface = "Mivo.MVMP4ExporterDelegate";
inline constexpr Name MP4ExporterProgress = "MP4ExporterProgress";
} // namespace MP4ExporterDelegate

namespace ExifExtractorBase {
inline constexpr Name Interface = "Mivo.MVExifExtractorBase";
inline constexpr Name extractExif = "extractExif";
} // namespace ExifExtractorBase

/// Its properties are those of ExifTextProperties, versionNumber and date.
namespace ExifInfo {
inline constexpr Name Interface = "Mivo.MVExifInfo";
inline constexpr Name setValues = "setValues";
inline constexpr Name release = "release";
} // namespace ExifInfo

namespace AudioEncoderBase {
inline constexpr Name Interface = "Mivo.MVAudioEncoderBase";
inline constexpr Name setAttributes = "setAttributes";
inline constexpr Name attributes = "attributes";
inline constexpr Name setDelegate = "setDelegate";
inline constexpr Name encodeFileOutputFile = "encodeFileOutputFile";
inline constexpr Name encodeOnThreadFileOutputFile = "encodeOnThreadFileOutputFile";
} // namespace AudioEncoderBase

/// Served by the client.
namespace AudioEncoderDelegate {
inline constexpr Name Interface = "Mivo.MVAudioEncoderDelegate";
inline constexpr Name encoderDidStart = "encoderDidStart";
inline constexpr Name shouldEncodeStop = "shouldEncodeStop";
inline constexpr Name encoderProgress = "encoderProgress";
inline constexpr Name encoderDidFailWithError = "encoderDidFailWithError";
inline constexpr Name encoderDidEnd = "encoderDidEnd";
} // namespace AudioEncoderDelegate

/// For new programs.
namespace Media1 {
inline constexpr Name Interface = "Mivo.Media1";
inline constexpr Name Describe = "Describe";
inline constexpr Name DescribeFile = "DescribeFile";
inline constexpr Name DescribeMany = "DescribeMany";
inline constexpr Name Thumbnail = "Thumbnail";
inline constexpr Name ThumbnailFile = "ThumbnailFile";
inline constexpr Name SetTags = "SetTags";
inline constexpr Name Encode = "Encode";
inline constexpr Name Version = "Version";
} // namespace Media1

namespace Job1 {
inline constexpr Name Interface = "Mivo.Job1";
inline constexpr Name Cancel = "Cancel";
inline constexpr Name Release = "Release";
inline constexpr Name State = "State";
inline constexpr Name Progress = "Progress";
inline constexpr Name Error = "Error";
inline constexpr Name Source = "Source";
inline constexpr Name Destination = "Destination";
} // namespace Job1

} // namespace mv::wire
