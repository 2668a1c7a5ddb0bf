#include "client/MediaInfoClient.h"
#include "service/include/ServiceNames.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

struct Row {
    const char* file;
    std::string_view service;
};

TEST(DescribingService, IsChosenByTheEnding)
{
    const Row Rows[] = {
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
    for (const Row& row : Rows)
        EXPECT_EQ(describingService(Path(row.file)), row.service) << row.file;
}

} // namespace
} // namespace mv
