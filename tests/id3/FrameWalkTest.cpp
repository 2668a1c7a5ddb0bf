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

/// A frame whose size is written plain, which reads as a smaller one where it is syncsafe.
std::string plainFrame(const std::string& name, const std::string& body)
{
    auto byte = [&](int shift) { return static_cast<char>(body.size() >> shift & 0xFF); };
    return name + std::string { byte(24), byte(16), byte(8), byte(0), 0, 0 } + body;
}

std::string namesOf(int version, const std::string& tag)
{
    FrameWalk walk(version, bytesOf(tag), false);
    std::string names;
    while (auto frame = walk.next())
        names += walk.nameOf(*frame) + " " + std::to_string(frame->size() - walk.headerSize()) + ", ";
    return names + (walk.reachedEnd() ? "end" : "lost");
}

// Zeros inside of what is said to be a frame are no padding.
TEST(FrameWalk, APlainSizeThatLeadsToAFrameGoesBeforeASyncsafeOneThatLeadsToAZero)
{
    std::string text; // UTF-16
    while (text.size() < 606) // 0x25E, which is 350 as a syncsafe number
        text += std::string { '\0', 'a' };
    for (const std::string& padding : { std::string(), std::string(100, '\0') }) {
        EXPECT_EQ(namesOf(4, plainFrame("USLT", text) + frame("TALB", "Album") + padding), "USLT 606, TALB 5, end");
        EXPECT_EQ(namesOf(4, frame("TALB", "Album") + plainFrame("USLT", text) + padding), "TALB 5, USLT 606, end");
        EXPECT_EQ(namesOf(4, plainFrame("USLT", text) + frame("odd!", "x") + padding), "USLT 606, odd! 1, end");
    }
}

// A last frame that ends in zeros, in a tag whose sizes are known to be plain, is whole; alone it is as the version has
// it.
TEST(FrameWalk, OneProvenSizeTellsOfAnotherAtThePadding)
{
    const std::string proof = plainFrame("USLT", std::string(285, 'u')); // 0x11D, syncsafe 157
    const std::string picture
        = plainFrame("APIC", std::string(150, 'a') + std::string(140, '\0')); // 0x122, syncsafe 162
    for (const std::string& padding : { std::string(), std::string(300, '\0') }) {
        EXPECT_EQ(namesOf(4, proof + picture + padding), "USLT 285, APIC 290, end");
        EXPECT_EQ(namesOf(4, frame("TALB", "Album") + picture + padding), "TALB 5, APIC 162, end");
        EXPECT_EQ(namesOf(4, picture + proof + padding), "APIC 290, USLT 285, end");
    }
    // What leads to a frame is not doubted.
    const std::string proper = std::string("PRIV") + std::string { 0, 0, 1, 2, 0, 0 } + std::string(130, 'p');
    EXPECT_EQ(
        namesOf(4, proof + proper + frame("TALB", "A") + std::string(300, '\0')), "USLT 285, PRIV 130, TALB 1, end");
}

TEST(FrameWalk, PaddingWithSomethingInItIsStillPadding)
{
    std::string song = frame("PRIV", "") + std::string(300, 'x');
    song[6] = 2; // 300 as a syncsafe number, 556 as a plain one
    song[7] = 44;
    EXPECT_EQ(namesOf(4, song + std::string(500, '\0') + "rest"), "PRIV 300, end");
}

TEST(FrameWalk, WhereBothSizesMayBeMeantTheVersionDecides)
{
    // 0x0102: 130 syncsafe, 258 plain; a frame at both ends.
    std::string body(130, 'b');
    std::string behind = frame("TALB", std::string(100, 'a')) + std::string(8, 'c');
    std::string tag = std::string("PRIV") + std::string { 0, 0, 1, 2, 0, 0 } + body + behind;
    tag.resize(10 + 258, 'c');
    tag += frame("TIT2", "T");
    EXPECT_EQ(namesOf(4, tag).substr(0, 19), "PRIV 130, TALB 100,");
    EXPECT_EQ(namesOf(3, tag), "PRIV 258, TIT2 1, end");
}

} // namespace
} // namespace mv
