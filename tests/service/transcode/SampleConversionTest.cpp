#include "service/transcode/SampleConversion.h"

#include <gmock/gmock.h>
#include <vector>

using namespace mv;
using testing::ElementsAre;

namespace {

struct Channels {
    std::vector<std::int32_t> left;
    std::vector<std::int32_t> right;
};

/// What a block becomes whose first `bytes` were filled, at `frames` frames.
Channels built(std::vector<std::uint8_t> bytes, std::uint32_t frames)
{
    auto filled = static_cast<std::uint32_t>(bytes.size());
    bytes.resize(std::max<std::size_t>(bytes.size(), frames * std::size_t { 8 }));
    AudioBufferList list { 1, { { 2, filled, bytes.data() } } };
    static std::int32_t samples[2][1152];
    buildBufferFrameCountBuffer(list, frames, samples);
    return { { samples[0], samples[0] + frames }, { samples[1], samples[1] + frames } };
}

std::int32_t top(std::uint32_t bits) { return static_cast<std::int32_t>(bits); }

} // namespace

TEST(SampleConversion, OneByte)
{
    Channels both = built({ 0x01, 0xFF, 0x80, 0x7F }, 2);
    EXPECT_THAT(both.left, ElementsAre(0x01000000, top(0x80000000)));
    EXPECT_THAT(both.right, ElementsAre(top(0xFF000000), 0x7F000000));
}

TEST(SampleConversion, TwoBytesInNativeOrder)
{
    Channels both = built({ 0x34, 0x12, 0xFF, 0xFF, 0x00, 0x80, 0xFF, 0x7F }, 2);
    EXPECT_THAT(both.left, ElementsAre(0x12340000, top(0x80000000)));
    EXPECT_THAT(both.right, ElementsAre(top(0xFFFF0000), 0x7FFF0000));
}

TEST(SampleConversion, ThreeBytesMostSignificantFirst)
{
    Channels both = built({ 0x12, 0x34, 0x56, 0x81, 0x02, 0x03 }, 1);
    EXPECT_THAT(both.left, ElementsAre(0x12345600));
    EXPECT_THAT(both.right, ElementsAre(top(0x81020300)));
}

// Lower bytes with their top bit set turn what is above them into ones.
TEST(SampleConversion, ThreeBytesAreEachSignExtended)
{
    Channels both = built({ 0x12, 0x80, 0x56, 0x12, 0x34, 0x80, 0x12, 0x80, 0x80, 0x7F, 0xFF, 0x01 }, 2);
    EXPECT_THAT(both.left, ElementsAre(top(0xFF805600), top(0xFFFF8000)));
    EXPECT_THAT(both.right, ElementsAre(top(0xFFFF8000), top(0xFFFF0100)));
}

TEST(SampleConversion, FourBytesAsTheyAre)
{
    Channels both = built({ 0x78, 0x56, 0x34, 0x12, 0x01, 0x00, 0x00, 0x80 }, 1);
    EXPECT_THAT(both.left, ElementsAre(0x12345678));
    EXPECT_THAT(both.right, ElementsAre(top(0x80000001)));
}

// 16-bit mono has 2 bytes a frame, which is what 8-bit stereo has: low bytes go left, high bytes right.
TEST(SampleConversion, SixteenBitMonoIsTakenForEightBitStereo)
{
    Channels both = built({ 0x34, 0x12, 0x80, 0xFF }, 2);
    EXPECT_THAT(both.left, ElementsAre(0x34000000, top(0x80000000)));
    EXPECT_THAT(both.right, ElementsAre(0x12000000, top(0xFF000000)));
}

// 8-bit mono has half a byte a channel, and 24-bit mono 1 and a half: 0 is read as 4, and 1.5 is 1.
TEST(SampleConversion, OddWidths)
{
    Channels bytes = built({ 1, 2 }, 2);
    EXPECT_THAT(bytes.left, ElementsAre(0x0201, 0));
    EXPECT_THAT(bytes.right, ElementsAre(0, 0));
    Channels triples = built({ 1, 2, 3, 4, 5, 6 }, 2);
    EXPECT_THAT(triples.left, ElementsAre(0x01000000, 0x03000000));
    EXPECT_THAT(triples.right, ElementsAre(0x02000000, 0x04000000));
    Channels wide = built(std::vector<std::uint8_t>(10, 1), 1); // width 5 is read as 4
    EXPECT_THAT(wide.left, ElementsAre(0x01010101));
}

TEST(SampleConversion, NoFramesNoSamples)
{
    std::int32_t samples[2][1152] = { { 77 }, { 78 } };
    std::uint8_t bytes[] = { 1, 2, 3 };
    AudioBufferList list { 1, { { 2, sizeof bytes, bytes } } };
    buildBufferFrameCountBuffer(list, 0, samples);
    EXPECT_EQ(samples[0][0], 77);
    EXPECT_EQ(samples[1][0], 78);
}
