#include "service/transcode/AacSegments.h"
#include "service/transcode/Mp3Segments.h"

#include "service/include/EncodingWish.h"

#include <gtest/gtest.h>
#include <vector>

namespace mv {
namespace {

const SegmentShape Shape = Mp3Segments::shape(1152);
const std::size_t ChunkSamples = Shape.chunkSamples();

std::vector<std::size_t> cut(const SegmentPlan& plan, std::size_t chunks)
{
    std::vector<std::size_t> segments;
    for (std::size_t at = 0; at < chunks; at += segments.back())
        segments.push_back(plan.chunks(segments.size(), at));
    return segments;
}

TEST(SegmentPlan, FirstAndLastSegmentsAreShort)
{
    constexpr std::size_t Chunks = 141; // three minutes
    auto segments = cut(SegmentPlan(2, Chunks * ChunkSamples, Shape), Chunks);
    EXPECT_EQ(segments.front(), 6u);
    EXPECT_EQ(segments.back(), 6u);
    EXPECT_LE(segments.size(), 11u);
}

// A joint costs sound that is encoded twice.
TEST(SegmentPlan, LongSoundIsCutIntoMinutes)
{
    constexpr std::size_t Chunks = 5600; // two hours
    auto segments = cut(SegmentPlan(2, Chunks * ChunkSamples, Shape), Chunks);
    EXPECT_LE(segments.size(), 130u);
}

// An encoder of AAC is slow, and needs longer to hear itself in.
TEST(SegmentPlan, AacHasFewerJoints)
{
    const SegmentShape shape = AacSegments::shape(1024);
    EXPECT_LT(shape.sharedFrames, shape.chunkFrames);
    for (auto [chunks, segments] : { std::pair { 30, 5u }, std::pair { 1200, 65u } }) {
        auto sizes = cut(SegmentPlan(2, static_cast<std::size_t>(chunks) * shape.chunkSamples(), shape),
            static_cast<std::size_t>(chunks));
        EXPECT_LE(sizes.size(), segments);
        EXPECT_EQ(sizes.front(), 3u);
        EXPECT_EQ(sizes.back(), 3u);
    }
}

TEST(SegmentPlan, SoundOfUnknownLengthIsCutAlike)
{
    auto segments = cut(SegmentPlan(4, 0, Shape), 1000);
    EXPECT_EQ(segments.front(), 6u);
    EXPECT_EQ(segments.back(), 47u);
}

TEST(SegmentPlan, MoreCoresTakeShorterSegmentsNotMoreMemory)
{
    for (unsigned cores = 1; cores <= MaxEncodingCores; ++cores) {
        SegmentPlan plan(cores, 0, Shape);
        EXPECT_EQ(plan.cores(), cores);
        std::size_t longest = plan.chunks(100, 5000);
        EXPECT_GE(longest, 6u);
        EXPECT_LE(longest * plan.segmentsAtOnce() * ChunkSamples * 8, std::size_t { 200 } << 20) << cores;
    }
}

TEST(SegmentPlan, ShortSoundIsNotCut)
{
    EXPECT_FALSE(SegmentPlan::isWorthwhile(44'100 * 10, Shape));
    EXPECT_TRUE(SegmentPlan::isWorthwhile(44'100 * 20, Shape));
    EXPECT_TRUE(SegmentPlan::isWorthwhile(0, Shape));
}

} // namespace
} // namespace mv
