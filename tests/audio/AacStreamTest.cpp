#include "audio/AacStream.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using Sequence = AacWindows::Sequence;

/// Bits as text, spaces between them; the rest of the packet are `filling` bytes.
Bytes packetOf(std::string_view bits, std::size_t filling = 20, std::uint8_t fill = 0x5A)
{
    Bytes bytes;
    unsigned count = 0;
    for (char bit : bits) {
        if (bit == ' ')
            continue;
        if (count % 8 == 0)
            bytes.push_back(0);
        bytes.back() = static_cast<std::uint8_t>(bytes.back() | (bit - '0') << (7 - count++ % 8));
    }
    bytes.insert(bytes.end(), filling, fill);
    return bytes;
}

constexpr std::string_view LongSine = "001 0000 1  0 00 0 101010 0";
constexpr std::string_view LongKaiser = "001 0000 1  0 00 1 101010 0";
constexpr std::string_view Start = "001 0000 1  0 01 0 101010 0";
constexpr std::string_view Apart = "001 0000 0  10101010  0 00 1 101010 0";

TEST(AacWindows, StandBehindTheFirstElementsHead)
{
    EXPECT_EQ(aacWindowsOf(packetOf(LongSine), 2), (AacWindows { Sequence::Long, false }));
    EXPECT_EQ(aacWindowsOf(packetOf(LongKaiser), 2), (AacWindows { Sequence::Long, true }));
    EXPECT_EQ(aacWindowsOf(packetOf("001 0011 1  0 11 1 101010 0"), 2), (AacWindows { Sequence::Stop, true }));
    EXPECT_EQ(aacWindowsOf(packetOf("001 0000 1  0 10 0 1010 1111111"), 2), (AacWindows { Sequence::Short, false }));
    EXPECT_EQ(aacWindowsOf(packetOf("000 0000 11111111  0 01 1 101010 0"), 1), (AacWindows { Sequence::Start, true }));
}

TEST(AacWindows, WhatFillsRoomBeforeIsSkipped)
{
    EXPECT_EQ(aacWindowsOf(packetOf("110 0010 1111111111111111 110 0000 001 0000 1  0 11 1 101010 0"), 2),
        (AacWindows { Sequence::Stop, true }));
    std::string fill = "110 1111 00000010" + std::string(16 * 8, '1'); // 15 + 2 - 1 bytes
    EXPECT_EQ(aacWindowsOf(packetOf(fill + "001 0000 1  0 01 0 101010 0"), 2), (AacWindows { Sequence::Start, false }));
}

TEST(AacWindows, OfWhatIsNotUnderstoodAreNone)
{
    EXPECT_EQ(aacWindowsOf(packetOf(Apart), 2), std::nullopt); // of two kinds
    EXPECT_EQ(aacWindowsOf(packetOf("001 0000 1  1 00 0 101010 0"), 2), std::nullopt); // a reserved bit
    EXPECT_EQ(aacWindowsOf(packetOf("001 0000 1  0 00 0 101010 1"), 2), std::nullopt); // prediction
    EXPECT_EQ(aacWindowsOf(packetOf("000 0000 11111111  0 00 0 101010 0"), 2), std::nullopt); // one channel of two
    EXPECT_EQ(aacWindowsOf(packetOf(LongSine), 1), std::nullopt);
    EXPECT_EQ(aacWindowsOf(packetOf(LongSine), 6), std::nullopt);
    EXPECT_EQ(aacWindowsOf(packetOf("100 0000"), 2), std::nullopt); // data of another kind
    EXPECT_EQ(aacWindowsOf(packetOf("111", 0), 2), std::nullopt); // nothing but its end
    for (std::size_t size : { 0, 1 })
        EXPECT_EQ(aacWindowsOf(ByteView(packetOf(LongSine)).first(size), 2), std::nullopt);
    EXPECT_EQ(aacWindowsOf(packetOf("110 1111 11111111"), 2), std::nullopt); // filled beyond its end
    EXPECT_EQ(aacWindowsOf(Bytes(300, 0xC0), 2), std::nullopt);
}

/// A packet of each kind; small letters are packets of the same head with other bytes behind it.
AacStream streamOf(std::size_t first, std::string_view kinds)
{
    AacStream stream(first, 2);
    for (char kind : kinds) {
        std::string_view bits = LongSine;
        if (kind == 'K' || kind == 'k')
            bits = LongKaiser;
        if (kind == 'S' || kind == 's')
            bits = Start;
        if (kind == 'A' || kind == 'a')
            bits = Apart;
        stream.append(packetOf(bits, 20, kind >= 'a' ? 0x11 : 0x5A));
    }
    return stream;
}

TEST(AacJoint, ThePacketsBeforeItHaveTheSameWindows)
{
    EXPECT_EQ(findAacJoint(streamOf(5, "KKKKKK"), streamOf(5, "LLLkLL"), 0, 100), 9u);
    EXPECT_EQ(findAacJoint(streamOf(5, "KKKKKK"), streamOf(5, "LLLLLL"), 0, 100), std::nullopt);
    EXPECT_EQ(findAacJoint(streamOf(5, "LLLLLL"), streamOf(5, "SSSSSS"), 0, 100), std::nullopt);
}

TEST(AacJoint, OfWindowsThatAreNotUnderstoodOnlyEqualPacketsAreJoined)
{
    EXPECT_EQ(findAacJoint(streamOf(0, "AAAAAA"), streamOf(0, "aaaaaa"), 0, 100), std::nullopt);
    EXPECT_EQ(findAacJoint(streamOf(0, "AAAAAA"), streamOf(0, "aaaAaa"), 0, 100), 4u);
}

TEST(AacJoint, IsWhereBothAreMostAlike)
{
    EXPECT_EQ(findAacJoint(streamOf(0, "LLLLLLLLLLLL"), streamOf(0, "lllllLLLLlll"), 0, 100), 7u);
    // Calm moments before lively ones.
    EXPECT_EQ(findAacJoint(streamOf(0, "LSSLSSLLLLSS"), streamOf(0, "lsslssllllss"), 0, 100), 8u);
}

TEST(AacJoint, LiesInsideBothStreamsAndTheBounds)
{
    auto one = streamOf(10, "LLLLLLLLLL");
    EXPECT_EQ(findAacJoint(one, streamOf(14, "LLLLLLLL"), 0, 100), 16u);
    EXPECT_EQ(findAacJoint(one, streamOf(15, "LLLLLLLL"), 16, 100), 17u);
    EXPECT_EQ(findAacJoint(one, streamOf(14, "LLLLLLLL"), 0, 16), std::nullopt);
    EXPECT_EQ(findAacJoint(one, streamOf(14, "LLLLLLLL"), 19, 100), std::nullopt);
    EXPECT_EQ(findAacJoint(one, streamOf(17, "LLLLLLLL"), 0, 100), std::nullopt);
    EXPECT_EQ(findAacJoint(one, streamOf(40, "LLLLLLLL"), 0, 100), std::nullopt);
    EXPECT_EQ(findAacJoint(streamOf(0, ""), streamOf(0, ""), 0, 100), std::nullopt);
}

} // namespace
} // namespace mv
