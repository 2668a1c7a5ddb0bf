#include "id3/MpegFrameReader.h"

#include "tests/support/CountingSource.h"
#include "tests/support/Mp3Maker.h"

#include <gtest/gtest.h>
#include <random>

namespace mv::test {
namespace {

constexpr double FrameSeconds = 1152.0 / 44100;

std::optional<MpegAudioFacts> read(const std::string& file)
{
    MemorySource source(bytesOf(file));
    return MpegFrameReader::read(source, 0, file.size());
}

double secondsOf(const std::string& file)
{
    auto facts = read(file);
    return facts ? facts->seconds : -1;
}

std::int32_t rounded(double seconds) { return MpegAudioFacts { .seconds = seconds }.wholeSeconds(); }

TEST(MpegFrameReader, RoundsToTheNearestSecond)
{
    EXPECT_EQ(rounded(0), 0);
    EXPECT_EQ(rounded(0.49), 0);
    EXPECT_EQ(rounded(0.5), 1);
    EXPECT_EQ(rounded(20.4999), 20);
    EXPECT_EQ(rounded(20.5), 21);
    EXPECT_EQ(rounded(1e12), 2147483647);
}

TEST(MpegFrameReader, ConstantBitrateOfEveryLayerAndVersion)
{
    for (int version : { 1, 2, 25 }) {
        for (int layer : { 1, 2, 3 }) {
            MpegFrameKind kind { .version = version, .layer = layer, .bitrateIndex = 8, .sampleRateIndex = 1 };
            auto facts = read(mpegFrames(400, kind));
            ASSERT_TRUE(facts) << version << " " << layer;
            double samples = layer == 1 ? 384 : layer == 3 && version != 1 ? 576 : 1152;
            double rate = 48000.0 / (version == 1 ? 1 : version == 2 ? 2 : 4);
            EXPECT_NEAR(facts->seconds, 400 * samples / rate, 0.001) << version << " " << layer;
            EXPECT_EQ(facts->firstFrame, 0u);
        }
    }
}

TEST(MpegFrameReader, ShortFilesHaveTheirLength)
{
    EXPECT_NEAR(secondsOf(mpegFrames(2)), 2 * FrameSeconds, 1e-9);
    EXPECT_NEAR(secondsOf(mpegFrames(1)), FrameSeconds, 1e-9);
    EXPECT_NEAR(secondsOf(mpegFrames(30)), 30 * FrameSeconds, 1e-9);
    // A frame that the end cuts is not heard, but there is a header.
    EXPECT_NEAR(secondsOf(mpegFrames(30) + mpegFrame().substr(0, 100)), 30 * FrameSeconds, 1e-9);
    EXPECT_EQ(secondsOf(mpegFrame().substr(0, 100)), 0);
}

TEST(MpegFrameReader, TableOfFramesWithGaplessDelays)
{
    std::string audio = mpegFrames(999);
    std::string first = xingFrame({ .mark = "Info",
        .frames = 999,
        .bytes = static_cast<std::int64_t>(audio.size() + 417),
        .encoder = "LAME3.100",
        .delay = 576,
        .padding = 1000 });
    auto facts = read(first + audio);
    ASSERT_TRUE(facts);
    EXPECT_NEAR(facts->seconds, (999.0 * 1152 - 1576) / 44100, 1e-9);
    EXPECT_EQ(facts->header.bitrate, 128000);
}

TEST(MpegFrameReader, FirstFramesRatesWhateverFollows)
{
    auto facts = read(mpegFrames(5, { .bitrateIndex = 5 }) + mpegFrames(500, { .bitrateIndex = 14 }));
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->header.bitrate, 64000);
    EXPECT_EQ(facts->header.sampleRate, 44100);
}

TEST(MpegFrameReader, TableOfAFragmentIsBelieved)
{
    // 1000 s of 128 kbit/s, of which the file holds a second.
    std::string first = xingFrame({ .frames = 38281, .bytes = 16'000'000 });
    EXPECT_NEAR(secondsOf(first + mpegFrames(40)), 38281 * FrameSeconds, 1e-6);
    EXPECT_NEAR(secondsOf(vbriFrame(38281, 16'000'000) + mpegFrames(40)), 38281 * FrameSeconds, 1e-6);
}

TEST(MpegFrameReader, JoinedFilesAreWalkedThrough)
{
    std::string song = xingFrame({ .frames = 100, .bytes = 100 * 417 }) + mpegFrames(100);
    // The second table's frame is one more of silence.
    EXPECT_NEAR(secondsOf(song + song), 201 * FrameSeconds, 1e-9);
}

TEST(MpegFrameReader, TableWithImpossibleNumbersIsNotBelieved)
{
    std::string audio = mpegFrames(100);
    auto bytes = static_cast<std::int64_t>(audio.size());
    EXPECT_NEAR(secondsOf(xingFrame({ .frames = 0xFFFFFFFF, .bytes = bytes }) + audio), 100 * FrameSeconds, 1e-9);
    EXPECT_NEAR(secondsOf(xingFrame({ .frames = 0, .bytes = bytes }) + audio), 100 * FrameSeconds, 1e-9);
    EXPECT_NEAR(secondsOf(xingFrame({ .frames = 1, .bytes = bytes }) + audio), 100 * FrameSeconds, 1e-9);
    EXPECT_NEAR(secondsOf(xingFrame({ .frames = -1, .bytes = bytes }) + audio), 100 * FrameSeconds, 1e-9);
}

TEST(MpegFrameReader, TableWithoutBytesIsBelievedWhenPossible)
{
    EXPECT_NEAR(secondsOf(xingFrame({ .frames = 99 }) + mpegFrames(100)), 99 * FrameSeconds, 1e-9);
}

TEST(MpegFrameReader, TableInFrontOfDamage)
{
    std::string first = xingFrame({ .frames = 500, .bytes = 500 * 417 });
    auto facts = read(first.substr(0, 300) + std::string(100, 'x') + mpegFrames(499));
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->firstFrame, 0u);
    EXPECT_NEAR(facts->seconds, 500 * FrameSeconds, 1e-9);
}

/// Frames of random bit rates, at least `bytes` of them, and their number.
std::pair<std::string, int> variableFrames(std::size_t bytes, unsigned seed)
{
    std::mt19937 random(seed);
    std::string audio;
    int count = 0;
    for (; audio.size() < bytes; ++count)
        audio += mpegFrame({ .bitrateIndex = static_cast<int>(random() % 14) + 1, .padded = random() % 2 == 0 });
    return { audio, count };
}

TEST(MpegFrameReader, VariableBitrateWithoutATable)
{
    for (std::size_t size : { 10'000, 300'000, 3'000'000 }) {
        auto [audio, count] = variableFrames(size, 7);
        EXPECT_NEAR(secondsOf(audio), count * FrameSeconds, 1e-6) << size;
    }
}

TEST(MpegFrameReader, AChangeInTheMiddleOfALongStreamIsSeen)
{
    std::string audio = mpegFrames(4000) + mpegFrames(200, { .bitrateIndex = 14 }) + mpegFrames(4000);
    ASSERT_GT(audio.size(), MpegFrameReader::SmallStream);
    EXPECT_NEAR(secondsOf(audio), 8200 * FrameSeconds, 1e-6);
}

TEST(MpegFrameReader, LongConstantStreamIsNotReadWhole)
{
    // An encoder that never pads, and one that keeps the bit rate: 417.96 bytes a frame.
    std::string unpadded = mpegFrames(20'000);
    std::string padded;
    for (int i = 0; i < 20'000; ++i)
        padded += mpegFrame({ .padded = i % 49 < 47 });
    for (const std::string& audio : { unpadded, padded }) {
        std::string file = audio + std::string(5000, 'j');
        MemorySource memory(bytesOf(file));
        CountingSource source(memory);
        auto facts = MpegFrameReader::read(source, 0, file.size());
        ASSERT_TRUE(facts);
        EXPECT_NEAR(facts->seconds, 20'000 * FrameSeconds, 0.01);
        EXPECT_LT(source.bytesRead, file.size() / 4);
    }
}

TEST(MpegFrameReader, JunkBetweenAndBehindFramesIsSteppedOver)
{
    std::string tagInside = id3Tag(3, id3Frame(3, "TIT2", std::string(3000, 'x')));
    std::string audio = mpegFrames(50) + tagInside + mpegFrames(50) + std::string(2000, '\xAA') + mpegFrames(50);
    EXPECT_NEAR(secondsOf(audio + "some words at the end"), 150 * FrameSeconds, 1e-9);
}

TEST(MpegFrameReader, FirstFrameBehindPaddingAndGarbage)
{
    auto facts = read(std::string(5000, '\0') + mpegFrames(10));
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->firstFrame, 5000u);
    facts = read(std::string(200'000, 'g') + mpegFrames(10));
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->firstFrame, 200'000u);
    facts = read(std::string(5000, '\0') + mpegFrame());
    ASSERT_TRUE(facts) << "a lone frame behind padding";
    EXPECT_EQ(facts->firstFrame, 5000u);
}

TEST(MpegFrameReader, FalseSyncsAreRefused)
{
    std::string sync = zeroed("\xFF\xFB\x90\0");
    auto facts = read("junk" + sync + std::string(1000, 'j') + sync + mpegFrames(10, { .bitrateIndex = 5 }));
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->header.bitrate, 64000);
    EXPECT_FALSE(read("junk" + sync + std::string(5000, 'j')));
    EXPECT_FALSE(read(sync + std::string(5000, 'j'))) << "alone, with room for company";
    EXPECT_FALSE(read(zeroed("\xFF\xFE\1\0") + utf16LE("some text in UTF-16")));
    EXPECT_FALSE(read(MarkLE + utf16LE("A text of one letter")));
    EXPECT_FALSE(read(MarkLE + utf16LE(std::string(5000, 'A'))));
}

TEST(MpegFrameReader, NoAudioAtAll)
{
    EXPECT_FALSE(read(""));
    EXPECT_FALSE(read("x"));
    EXPECT_FALSE(read(std::string(100'000, '\0')));
    EXPECT_FALSE(read(std::string(100'000, '\xFF')));
    std::mt19937 random(1);
    std::string noise;
    for (int i = 0; i < 300'000; ++i)
        noise += static_cast<char>(random());
    EXPECT_FALSE(read(noise));
}

TEST(MpegFrameReader, FreeFormat)
{
    // 1306 bytes: 400 kbit/s at 44.1 kHz.
    MpegFrameKind kind { .bitrateIndex = 0, .freeFormatSize = 1306 };
    auto facts = read(mpegFrames(200, kind));
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->header.bitrate, 400'000);
    EXPECT_NEAR(facts->seconds, 200 * FrameSeconds, 1e-9);
}

TEST(MpegFrameReader, FreeFormatOfEveryLayer)
{
    for (int version : { 1, 2, 25 }) {
        for (int layer : { 1, 2, 3 }) {
            MpegFrameKind kind { .version = version, .layer = layer, .bitrateIndex = 0 };
            int rate = 44100 / (version == 1 ? 1 : version == 2 ? 2 : 4);
            int samples = layer == 1 ? 384 : layer == 3 && version != 1 ? 576 : 1152;
            kind.freeFormatSize = static_cast<std::size_t>(samples / 8 * 97'000 / rate / 4 * 4);
            auto facts = read(mpegFrames(30, kind));
            ASSERT_TRUE(facts) << version << " " << layer;
            EXPECT_NEAR(facts->seconds, 30.0 * samples / rate, 1e-9) << version << " " << layer;
            EXPECT_NEAR(facts->header.bitrate, 97'000, 4'000) << version << " " << layer;
        }
    }
}

TEST(MpegFrameReader, FreeFormatUpToItsHighestRate)
{
    for (bool padded : { false, true }) {
        // 640 kbit/s at 44,100 Hz are 2,089.8 bytes a frame.
        std::size_t longest = padded ? 2090 : 2089;
        MpegFrameKind kind { .bitrateIndex = 0, .padded = padded, .freeFormatSize = longest };
        auto facts = read(mpegFrames(20, kind));
        ASSERT_TRUE(facts) << padded;
        EXPECT_EQ(facts->header.bitrate, 640'000) << padded;
        kind.freeFormatSize = longest + 1;
        EXPECT_FALSE(read(mpegFrames(20, kind))) << padded;
    }
}

TEST(MpegFrameReader, FreeFormatWithPaddingAndGaps)
{
    MpegFrameKind kind { .bitrateIndex = 0, .freeFormatSize = 1306 };
    MpegFrameKind padded { .bitrateIndex = 0, .padded = true, .freeFormatSize = 1307 };
    std::string audio;
    for (int i = 0; i < 25; ++i)
        audio += mpegFrame(kind) + mpegFrame(padded);
    EXPECT_NEAR(secondsOf(audio), 50 * FrameSeconds, 1e-9);
    EXPECT_NEAR(secondsOf(mpegFrame(padded) + audio), 51 * FrameSeconds, 1e-9);
    EXPECT_NEAR(secondsOf(audio + std::string(3000, 'j') + audio), 100 * FrameSeconds, 1e-9);
    EXPECT_NEAR(secondsOf(std::string(100, '\0') + mpegFrames(3, kind)), 3 * FrameSeconds, 1e-9);
    EXPECT_FALSE(read(mpegFrames(2, kind))) << "two tell their distance, and nobody confirms it";
}

/// Picture bytes FF FF 00 00 look like layer I of the free format.
TEST(MpegFrameReader, FreeFormatNeedsProof)
{
    auto repeated = [](const std::string& piece, std::size_t count) {
        std::string bytes;
        for (std::size_t i = 0; i < count; ++i)
            bytes += piece;
        return bytes;
    };
    const std::string header = zeroed("\xFF\xFF\0\0");
    const std::string row = header + std::string(296, '\0');
    EXPECT_TRUE(read(repeated(row, 100))) << "silence, as far as one can tell";
    EXPECT_FALSE(read(repeated(header, 500))) << "a pattern";
    EXPECT_FALSE(read(repeated(header + std::string(16, '\0'), 100))) << "a pattern nearer than a frame is long";
    EXPECT_FALSE(read("BM" + repeated(row, 100))) << "rows of a picture";
    EXPECT_FALSE(read(row + row + row + std::string(5000, 'j'))) << "three at one distance, with room for more";
    EXPECT_FALSE(read(repeated(header + "\xF0" + std::string(295, '\0'), 100))) << "a forbidden allocation";
    EXPECT_FALSE(read(repeated(header + std::string(60, '\xEE') + std::string(236, '\0'), 100)))
        << "more bits than the frame has";
    const std::string layer3 = zeroed("\xFF\xFB\0\0");
    EXPECT_TRUE(read(repeated(layer3 + std::string(296, '\0'), 100)));
    EXPECT_FALSE(read(repeated(layer3 + std::string(20, '\xFF') + std::string(276, '\0'), 100)))
        << "values above what a granule has";
    // Where a stream of fixed bit rates goes on, such bytes are no part of it.
    EXPECT_NEAR(secondsOf(mpegFrames(50) + repeated(row, 100) + mpegFrames(50)), 100 * FrameSeconds, 1e-9);
}

TEST(MpegFrameReader, ChangingSampleRatesAddUp)
{
    EXPECT_NEAR(secondsOf(mpegFrames(100) + mpegFrames(100, { .sampleRateIndex = 2 })),
        100 * FrameSeconds + 100 * 1152.0 / 32000, 1e-9);
}

TEST(MpegFrameReader, StaysBetweenItsBorders)
{
    std::string file = mpegFrames(10) + mpegFrames(20);
    MemorySource source(bytesOf(file));
    auto facts = MpegFrameReader::read(source, 417, 417 * 11);
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->firstFrame, 417u);
    EXPECT_NEAR(facts->seconds, 10 * FrameSeconds, 1e-9);
    EXPECT_FALSE(MpegFrameReader::read(source, file.size(), file.size()));
    EXPECT_FALSE(MpegFrameReader::read(source, 500, 400));
}

/// Input that is nothing but beginnings of frames must not cost more than a few looks at each byte.
TEST(MpegFrameReader, FloodsOfFalseSyncsEnd)
{
    for (const std::string& piece : { zeroed("\xFF\xFB\x90\0"), zeroed("\xFF\xFB\0\0"), zeroed("\xFF\xFB\x90"),
             zeroed("\xFF\xFB\0"), zeroed("\xFF\xFD\0\xFF"), zeroed("\xFF\xE3\x10\0\0") }) {
        std::string flood;
        while (flood.size() < 2'000'000)
            flood += piece;
        read(flood);
    }
}

} // namespace
} // namespace mv::test
