#pragma once

#include "Base/Media/MVMediaTypeReader.h"

#include <array>
#include <string_view>

namespace mv {

// The services by the names under which they are published.
inline constexpr std::string_view AVParserService = "MivoAVParser_1.3.0.12062";
inline constexpr std::string_view MP3ParserService = "MivoMP3Parser_1.3.0.12062";
inline constexpr std::string_view ImageParserService = "MivoImageParser_1.3.0.12062";
inline constexpr std::string_view MediaTagUpdaterService = "MivoMediaTagUpdater_1.3.0.12062";
inline constexpr std::string_view MP4ExporterService = "MivoMP4Exporter_1.3.0.12062";
inline constexpr std::string_view MP4ParserService = "MivoMP4Parser_1.3.0.12062";
inline constexpr std::string_view ExifExtractorService = "MivoExifExtractor_1.3.0.12062";
inline constexpr std::string_view Mp3EncoderService = "MivoMp3Encoder_1.3.0.12062";
inline constexpr std::string_view BasicAudioParserService = "MivoBasicAudioParser_1.3.0.12062";

/// All of them, in the order in which the process publishes them: when the last is there, all are.
inline constexpr std::array kServiceNames {
    AVParserService,
    MP3ParserService,
    ImageParserService,
    MediaTagUpdaterService,
    MP4ExporterService,
    MP4ParserService,
    ExifExtractorService,
    Mp3EncoderService,
    BasicAudioParserService,
};

/// The service that describes a file, by the ending of its name: MP3 files, M4A files, FLAC and Ogg files and pictures
/// have a service of their own, everything else goes to the audio/video parser.
std::string_view describingService(const Path& path);

} // namespace mv
