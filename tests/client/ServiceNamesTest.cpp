#include "client/ServiceNames.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

TEST(ServiceNames, AreThoseThatAreServedInTheirOrder)
{
    constexpr std::array kExpected { "MivoAVParser_1.3.0.12062", "MivoMP3Parser_1.3.0.12062",
        "MivoImageParser_1.3.0.12062", "MivoMediaTagUpdater_1.3.0.12062", "MivoMP4Exporter_1.3.0.12062",
        "MivoMP4Parser_1.3.0.12062", "MivoExifExtractor_1.3.0.12062", "MivoMp3Encoder_1.3.0.12062",
        "MivoBasicAudioParser_1.3.0.12062" };
    ASSERT_EQ(kServiceNames.size(), kExpected.size());
    for (std::size_t i = 0; i < kExpected.size(); ++i)
        EXPECT_EQ(kServiceNames[i], kExpected[i]);
}

struct Row {
    const char* file;
    std::string_view service;
};

TEST(ServiceNames, TheEndingChoosesTheDescribingService)
{
    const Row kRows[] = {
        { "/a/b.mp3", MP3ParserService },
        { "b.MP3", MP3ParserService },
        { "b.m4a", MP4ParserService },
        { "b.flac", BasicAudioParserService },
        { "b.flc", BasicAudioParserService },
        { "b.ogg", BasicAudioParserService },
        { "b.jpg", ImageParserService },
        { "b.JPEG", ImageParserService },
        { "b.png", ImageParserService },
        { "b.gif", ImageParserService },
        { "b.bmp", ImageParserService },
        { "b.tif", ImageParserService },
        { "b.TIFF", ImageParserService },
        { "b.webp", ImageParserService },
        { "b.heic", ImageParserService },
        { "b.heif", ImageParserService },
        { "b.avif", ImageParserService },
        { "b.mp4", AVParserService },
        { "b.m4v", AVParserService },
        { "b.mov", AVParserService },
        { "b.avi", AVParserService },
        { "b.3gp", AVParserService },
        { "b.wav", AVParserService },
        { "b.aac", AVParserService },
        { "b.amr", AVParserService },
        { "b.wma", AVParserService },
        { "b.mkv", AVParserService },
        { "b", AVParserService },
        { "b.jpg/c", AVParserService },
    };
    for (const Row& row : kRows)
        EXPECT_EQ(describingService(Path(row.file)), row.service) << row.file;
}

} // namespace
} // namespace mv
