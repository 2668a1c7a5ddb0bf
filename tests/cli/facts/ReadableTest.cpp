#include "cli/facts/FactForms.h"
#include "cli/facts/ReadableFact.h"
#include "tests/cli/facts/Songs.h"
#include "tests/support/LocalZone.h"

#include <gmock/gmock.h>

namespace mv::cli {
namespace {

std::string shown(std::string_view key, FactValue value) { return readableFact(FactField(key), value); }

TEST(ReadableFact, ASongAsPeopleReadIt)
{
    test::LocalZone zone("UTC");
    EXPECT_EQ(readableFile(aSong(), false),
        "a.mp3\n"
        "  title           Don't\n"
        "  artist          AC/DC; Motörhead\n"
        "  trackNumber     4 of 12\n"
        "  contentCreated  2010-05-04\n"
        "  compilation     no\n"
        "  length          3:05\n"
        "  audioCodec      mp3\n"
        "  sampleRate      44.1 kHz\n"
        "  channels        2 (stereo)\n"
        "  bitrate         192 kbit/s\n"
        "  hasPicture      yes\n"
        "  kind            audio\n"
        "  mimeType        audio/mpeg\n"
        "  size            4.2 MB (4200000 bytes)\n"
        "  modified        2026-01-01 00:00:00\n");
}

TEST(ReadableFact, APhotoAsPeopleReadIt)
{
    EXPECT_EQ(readableFile(aPhoto(), false),
        "p.jpg\n"
        "  contentCreated  2016-05-31 17:01:35 +02:00\n"
        "  width           4000 pixels\n"
        "  orientation     6 (a quarter turn right)\n"
        "  exposureTime    1/250 s\n"
        "  fNumber         f/2.8\n"
        "  focalLength     50 mm\n"
        "  iso             400\n"
        "  latitude        33.856784° S\n"
        "  longitude       151.215297° E\n"
        "  altitude        35.5 m\n"
        "  kind            picture\n");
}

TEST(ReadableFact, Numbers)
{
    EXPECT_EQ(shown(fact::Length, std::int64_t { 250'000 }), "0.250 s");
    EXPECT_EQ(shown(fact::Length, std::int64_t { 3'729'000'000 }), "1:02:09");
    EXPECT_EQ(shown(fact::Length, std::int64_t { 185'600'000 }), "3:06");
    EXPECT_EQ(shown(fact::Bitrate, std::uint32_t { 800 }), "800 bit/s");
    EXPECT_EQ(shown(fact::Bitrate, std::uint32_t { 191'600 }), "192 kbit/s");
    EXPECT_EQ(shown(fact::Bitrate, std::uint32_t { 25'300'000 }), "25.3 Mbit/s");
    EXPECT_EQ(shown(fact::SampleRate, std::uint32_t { 22050 }), "22.05 kHz");
    EXPECT_EQ(shown(fact::Channels, std::uint32_t { 1 }), "1 (mono)");
    EXPECT_EQ(shown(fact::Channels, std::uint32_t { 6 }), "6");
    EXPECT_EQ(shown(fact::FrameRate, 29.97002997), "29.97 fps");
    EXPECT_EQ(shown(fact::ExposureTime, 30.0), "30 s");
    EXPECT_EQ(shown(fact::ExposureTime, 0.5), "0.5 s");
    EXPECT_EQ(shown(fact::Orientation, std::uint32_t { 9 }), "9");
    EXPECT_EQ(shown(fact::Size, std::uint64_t { 12 }), "12 bytes");
    EXPECT_EQ(shown(fact::AudioBpm, std::int32_t { 120 }), "120");
    EXPECT_EQ(shown(fact::Longitude, -0.5), "0.5° W");
}

TEST(ReadableFact, TextsCannotCommandTheTerminal)
{
    EXPECT_EQ(shown(fact::Title, std::string("a\033[2Jb")), "a\\x1b[2Jb");
    EXPECT_EQ(shown(fact::Artist, std::vector<std::string> { "a\n", "b" }), "a\\n; b");
    EXPECT_THAT(readableFile(DescribedFile("x\033.mp3", {}), true), "\033[1mx\\x1b.mp3\033[0m\n");
}

TEST(ReadableFact, LongTextsAreCutUnlessTheyAreAskedFor)
{
    Facts facts;
    facts.set(fact::AsText, std::string(1000, 'x'));
    facts.set(fact::DiscTotal, std::int32_t { 2 });
    DescribedFile file("a", facts);
    EXPECT_EQ(readableFile(file, false), "a\n  discTotal       2\n  asText          " + std::string(200, 'x') + "…\n");
    FactWriter asked({ .fields = *fieldsFrom("path,lyrics") });
    EXPECT_EQ(asked.item(file), "a\n  asText          " + std::string(1000, 'x') + "\n");
}

} // namespace
} // namespace mv::cli
