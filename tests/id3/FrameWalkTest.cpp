#include "id3/FrameWalk.h"

#include <gtest/gtest.h>

#include <string>

namespace mv {
namespace {

std::string frame(const std::string& name, const std::string& body)
{
    return name + std::string { 0, 0, 0, static_cast<char>(body.size()), 0, 0 } + body;
}

/// `count` frames with odd names, and one behind them that proves their sizes.
std::string oddRun(int count)
{
    std::string bytes;
    for (int i = 0; i < count; ++i)
        bytes += frame("odd!", "x");
    return bytes + frame("TIT2", std::string(1, '\0') + "Title");
}

TEST(FrameWalk, ARunOfOddNamesIsSteppedOver)
{
    std::string tag = oddRun(1000);
    FrameWalk walk(3, bytesOf(tag), false);
    int frames = 0;
    while (walk.next())
        ++frames;
    EXPECT_EQ(frames, 1001);
    EXPECT_TRUE(walk.reachedEnd());
}

TEST(FrameWalk, ProofsEndWhereTheyWouldCostTooMuch)
{
    std::string run = oddRun(1000);
    std::string tag;
    while (tag.size() < 4'000'000)
        tag += run;
    FrameWalk walk(3, bytesOf(tag), false);
    while (walk.next()) { }
    EXPECT_FALSE(walk.reachedEnd());
    EXPECT_GT(walk.position(), run.size());
    EXPECT_LT(walk.position(), 4 * run.size());
}

} // namespace
} // namespace mv
