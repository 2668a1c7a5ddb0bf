#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace mv {

// The services by the names under which they are published; clients rely on them, odd capitals included.
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
inline constexpr std::array ServiceNames {
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

/// The one interface for new programs, beside the nine: what has this name need not have theirs.
inline constexpr std::string_view Media1Service = "Mivo.Media1";
inline constexpr const char* Media1Path = "/Mivo/Media1";
inline constexpr const char* Media1JobsPath = "/Mivo/Media1/jobs"; ///< each has a number below it
inline constexpr std::uint32_t Media1Version = 1;

/// The suite's crash reporter, which is a service of another process.
inline constexpr std::string_view CrashReporterServiceName = "MivoCrashReporter_1.3.0.12062";

// The machine-wide notification that asks the process to quit, and its object; the first is spelt so.
inline constexpr const char* TerminateNotification = "MivoTerminitor";
inline constexpr const char* TerminateObject = "Mivo";

} // namespace mv
