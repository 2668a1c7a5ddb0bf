#include "mp3/FrameStream.h"

#include "tests/mp3/MadeFrames.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using test::MadeFrame;
using test::madeFrame;
using test::MadeRoom;
using test::madeStream;

TEST(FrameStream, ReadsWhatStandsInFrontOfMainData)
{
    auto stream = madeStream(7, { { 300, BlockType::Start, BlockType::Short, 180 } });
    ASSERT_EQ(stream.end(), 8u);
    const Mp3FrameFacts& facts = stream.facts(7);
    EXPECT_EQ(facts.size, 417u);
    EXPECT_EQ(facts.room, MadeRoom);
    EXPECT_EQ(facts.mainDataBegin, 300u);
    EXPECT_EQ(facts.granules, 2u);
    EXPECT_EQ(facts.channels, 2u);
    EXPECT_EQ(facts.parts[0][1].blockType, BlockType::Start);
    EXPECT_EQ(facts.lastGranule()[0].blockType, BlockType::Short);
    EXPECT_EQ(facts.lastGranule()[1].globalGain, 180);
}

TEST(FrameStream, TakesFramesInPiecesOfAnySize)
{
    Bytes bytes;
    for (std::uint8_t i = 1; i < 6; ++i) {
        Bytes frame = madeFrame({ .filling = i });
        bytes.insert(bytes.end(), frame.begin(), frame.end());
    }
    for (std::size_t size : { 1u, 3u, 416u, 418u, 5000u }) {
        Mp3FrameStream stream(0);
        for (std::size_t i = 0; i < bytes.size(); i += size)
            EXPECT_TRUE(stream.append(ByteView(bytes).subspan(i, std::min(size, bytes.size() - i))));
        EXPECT_EQ(stream.end(), 5u) << size;
        EXPECT_TRUE(stream.isWhole());
        EXPECT_EQ(stream.bytes(3).back(), 4);
    }
}

TEST(FrameStream, ACutFrameIsNotThereYet)
{
    Mp3FrameStream stream(0);
    EXPECT_TRUE(stream.append(ByteView(madeFrame({})).first(416)));
    EXPECT_EQ(stream.end(), 0u);
    EXPECT_FALSE(stream.isWhole());
}

TEST(FrameStream, RoomForATableHasNoNumber)
{
    Bytes room { 0xff, 0xfb, 0x90, 0x44 };
    room.resize(417);
    Mp3FrameStream stream(0);
    EXPECT_TRUE(stream.append(room));
    EXPECT_TRUE(stream.append(madeFrame({ .filling = 9 })));
    EXPECT_EQ(stream.end(), 1u);
    EXPECT_EQ(stream.tableRoom().size(), 417u);
    EXPECT_EQ(stream.bytes(0).back(), 9);
}

TEST(FrameStream, WhatIsNoFrameOfTheStreamIsNotTaken)
{
    Bytes frame = madeFrame({ .filling = 1 });
    auto changed = [&](std::size_t at, std::uint8_t value) {
        Bytes other = frame;
        other[at] = value;
        return other;
    };
    const Bytes others[] { changed(0, 0), changed(1, 0xf3), changed(1, 0xfd), changed(2, 0x94), changed(2, 0x04),
        changed(3, 0xc4), madeFrame({ .second = static_cast<BlockType>(4) }) };
    for (const Bytes& other : others) {
        Mp3FrameStream stream(0);
        EXPECT_TRUE(stream.append(frame));
        EXPECT_FALSE(stream.append(other)) << &other - others;
        EXPECT_FALSE(stream.append(frame));
        EXPECT_EQ(stream.end(), 1u);
        EXPECT_FALSE(stream.isWhole());
    }
}

TEST(FrameStream, MainDataLieOverTheBordersOfFrames)
{
    auto stream = madeStream(3, { { .filling = 1 }, { .filling = 2 }, { .filling = 3 } });
    EXPECT_EQ(stream.roomBetween(3, 5), 2 * MadeRoom);
    Bytes data = stream.mainDataBefore(5, MadeRoom + 2);
    EXPECT_EQ(data.front(), 1);
    EXPECT_EQ(data[1], 1);
    EXPECT_EQ(data[2], 2);
    stream.replaceMainDataBefore(5, Bytes(MadeRoom + 1, 0x77));
    EXPECT_EQ(stream.mainDataBefore(5, MadeRoom + 2).front(), 1);
    EXPECT_EQ(stream.bytes(3).back(), 0x77);
    EXPECT_EQ(stream.facts(4).mainDataBegin, 0u);
    EXPECT_EQ(stream.bytes(4)[36], 0x77);
    EXPECT_EQ(stream.bytes(5)[36], 3);
}

} // namespace
} // namespace mv
