#include "mp3/FrameJoint.h"

#include "tests/mp3/MadeFrames.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using test::MadeFrame;
using test::madeStream;

using Frames = std::vector<MadeFrame>;

std::optional<std::size_t> joint(const Frames& earlier, const Frames& later)
{
    return findJoint(madeStream(0, earlier), madeStream(0, later), 0, 2, 100);
}

TEST(FrameJoint, WindowsOfGranulesInARowFit)
{
    using enum BlockType;
    for (BlockType before : { Long, Stop }) {
        EXPECT_TRUE(canFollow(before, Long));
        EXPECT_TRUE(canFollow(before, Start));
        EXPECT_FALSE(canFollow(before, Short));
        EXPECT_FALSE(canFollow(before, Stop));
    }
    for (BlockType before : { Start, Short }) {
        EXPECT_FALSE(canFollow(before, Long));
        EXPECT_FALSE(canFollow(before, Start));
        EXPECT_TRUE(canFollow(before, Short));
        EXPECT_TRUE(canFollow(before, Stop));
    }
}

TEST(FrameJoint, NoneWhereTheLaterOnesDataBeginTooEarly)
{
    EXPECT_EQ(joint(Frames(5, MadeFrame { 100 }), Frames(5, MadeFrame { 101 })), std::nullopt);
    EXPECT_EQ(joint(Frames(5, MadeFrame { 100 }), Frames(5, MadeFrame { 100 })), 2u);
    EXPECT_EQ(joint({ { 9 }, { 9 }, { 9 }, { 80 }, { 9 } }, Frames(5, MadeFrame { 50 })), 3u);
}

TEST(FrameJoint, NoneWhereWindowsDoNotFit)
{
    MadeFrame shorts { 0, BlockType::Short, BlockType::Short };
    EXPECT_EQ(joint(Frames(6), Frames(6, shorts)), std::nullopt);
    EXPECT_EQ(joint(Frames(6, shorts), Frames(6, shorts)), 2u);
    MadeFrame start { 0, BlockType::Long, BlockType::Start };
    EXPECT_EQ(joint(Frames(4), { {}, start, shorts, shorts }), std::nullopt);
    EXPECT_EQ(joint({ {}, start, {}, {} }, { {}, start, shorts, shorts }), 2u);
}

TEST(FrameJoint, IsWhereBothAreMostAlike)
{
    Frames earlier(8);
    Frames later(8);
    for (std::size_t i = 0; i < 8; ++i)
        earlier[i].gain = static_cast<std::uint8_t>(100 + (i < 5 ? 5 - i : i - 5));
    for (MadeFrame& frame : later)
        frame.gain = 100;
    EXPECT_EQ(joint(earlier, later), 5u);
}

TEST(FrameJoint, LooksOnlyWhereItMayAndWhereBothHaveFrames)
{
    auto earlier = madeStream(10, Frames(10));
    auto later = madeStream(15, Frames(10));
    EXPECT_EQ(findJoint(earlier, later, 10, 0, 100), 16u);
    EXPECT_EQ(findJoint(earlier, later, 10, 18, 100), 18u);
    EXPECT_EQ(findJoint(earlier, later, 10, 18, 18), std::nullopt);
    EXPECT_EQ(findJoint(earlier, later, 10, 20, 100), std::nullopt);
    EXPECT_EQ(findJoint(earlier, later, 17, 0, 100), 18u);
}

TEST(FrameJoint, NoneWhereFramesAreMissingThatHoldTheData)
{
    // All room of one frame and a byte more are looked back at, and before the second frame there is only one.
    MadeFrame far { test::MadeRoom + 1 };
    auto stream = madeStream(0, Frames(4, far));
    EXPECT_EQ(findJoint(stream, stream, 0, 0, 100), 2u);
    EXPECT_EQ(findJoint(stream, stream, 1, 0, 100), 3u);
}

TEST(FrameJoint, PutsTheLaterOnesDataBehindWhatTheEarlierOneHasUsed)
{
    auto earlier = madeStream(0, Frames(5, MadeFrame { .mainDataBegin = 400, .filling = 1 }));
    auto later = madeStream(0, Frames(5, MadeFrame { .mainDataBegin = 390, .filling = 2 }));
    joinAt(3, earlier, later);
    EXPECT_EQ(earlier.mainDataBefore(3, 390), Bytes(390, 2));
    Bytes before = earlier.mainDataBefore(3, 401);
    EXPECT_EQ(before.front(), 1);
    EXPECT_EQ(before[1], 0x55);
    EXPECT_EQ(before[10], 0x55);
    EXPECT_EQ(before[11], 2);
    EXPECT_EQ(earlier.facts(2).mainDataBegin, 400u);
}

} // namespace
} // namespace mv
