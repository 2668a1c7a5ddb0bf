#include "service/transcode/AacSegments.h"
#include "service/transcode/Mp3Segments.h"

#include "service/include/EncodingWish.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

namespace mv {
namespace {

const SegmentShape Shape = Mp3Segments::shape(1152);
const std::size_t ChunkSamples = Shape.chunkSamples();

std::vector<std::size_t> cut(const SegmentPlan& plan, std::size_t chunks)
{
    std::vector<std::size_t> segments;
    for (std::size_t left = chunks; left > 0; left -= std::min(left, segments.back()))
        segments.push_back(plan.chunks(segments.size()));
    return segments;
}

std::vector<std::size_t> cut(unsigned cores, std::size_t chunks, const SegmentShape& shape = Shape)
{
    return cut(SegmentPlan(cores, chunks * shape.chunkSamples(), shape), chunks);
}

using Chunks = std::vector<std::size_t>;

TEST(SegmentPlan, RoundsBecomeShorterToTheEnd)
{
    EXPECT_EQ(cut(2, 140), (Chunks { 47, 47, 17, 17, 6, 6 })); // three minutes
    EXPECT_EQ(cut(2, 24), (Chunks { 12, 12 }));
    EXPECT_EQ(cut(2, 25), (Chunks { 9, 9, 4, 3 }));
    EXPECT_EQ(cut(3, 12), (Chunks { 4, 4, 4 }));
}

TEST(SegmentPlan, EveryCoreHasPartOfShortSound)
{
    EXPECT_EQ(cut(16, 47).size(), 16u);
    EXPECT_EQ(cut(4, 12), (Chunks { 3, 3, 3, 3 }));
    EXPECT_EQ(cut(16, 12), (Chunks { 3, 3, 3, 3 }));
}

TEST(SegmentPlan, CoresHaveAlmostEqualParts)
{
    for (std::size_t chunks : { 30, 141, 290, 5600 }) {
        for (unsigned cores : { 2u, 3u, 4u, 7u, 16u }) {
            std::vector<std::size_t> work(cores);
            for (std::size_t segment : cut(cores, chunks))
                *std::min_element(work.begin(), work.end()) += segment;
            auto [least, most] = std::minmax_element(work.begin(), work.end());
            EXPECT_LE(*most - *least, Shape.minChunks) << chunks << " on " << cores;
        }
    }
}

// A joint costs sound that is encoded twice.
TEST(SegmentPlan, LongSoundIsCutIntoMinutes)
{
    EXPECT_LE(cut(2, 5600).size(), 124u); // two hours
}

// An encoder of AAC is slow, and needs longer to hear itself in.
TEST(SegmentPlan, AacHasFewerJoints)
{
    const SegmentShape shape = AacSegments::shape(1024);
    EXPECT_LT(shape.sharedFrames, shape.chunkFrames);
    EXPECT_EQ(cut(2, 30, shape), (Chunks { 11, 11, 4, 4 }));
    EXPECT_LE(cut(2, 1200, shape).size(), 65u);
}

TEST(SegmentPlan, SegmentsOfSoundOfUnknownLengthGrow)
{
    auto segments = cut(SegmentPlan(4, 0, Shape), 1000);
    segments.resize(6);
    EXPECT_EQ(segments, (Chunks { 3, 6, 12, 24, 47, 47 }));
}

TEST(SegmentPlan, MoreSoundThanIsAnnouncedIsCutToo)
{
    SegmentPlan plan(2, 24 * ChunkSamples, Shape);
    EXPECT_EQ(plan.chunks(1), 12u);
    EXPECT_GE(plan.chunks(2), Shape.minChunks);
    EXPECT_EQ(plan.chunks(1000), 47u);
}

TEST(SegmentPlan, WhatNoFileHoldsIsNotPlanned)
{
    SegmentPlan plan(2, ~std::uint64_t { 0 }, Shape);
    EXPECT_EQ(plan.chunks(0), Shape.minChunks);
    EXPECT_EQ(plan.chunks(1000), 47u);
}

TEST(SegmentPlan, MoreCoresTakeShorterSegmentsNotMoreMemory)
{
    for (unsigned cores = 1; cores <= MaxEncodingCores; ++cores) {
        SegmentPlan plan(cores, 0, Shape);
        EXPECT_EQ(plan.cores(), cores);
        std::size_t longest = plan.chunks(100);
        EXPECT_GE(longest, Shape.minChunks);
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
