#include "mp4/Box.h"

#include "tests/support/Mp4Maker.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace test;

std::vector<Box> walk(const Bytes& file, bool* damaged = nullptr)
{
    StructureReader reader { ByteView(file) };
    BoxWalker walker(reader, 0, file.size());
    std::vector<Box> boxes;
    while (auto box = walker.next())
        boxes.push_back(*box);
    if (damaged)
        *damaged = walker.damaged();
    return boxes;
}

TEST(BoxWalker, ReadsShortWideAndToTheEndSizes)
{
    Bytes file = joined({ box("free", Bytes(3)), number(1, 4), bytes("mdat"), number(21, 8), Bytes(5), number(0, 4),
        bytes("skip"), Bytes(7) });
    bool damaged = true;
    auto boxes = walk(file, &damaged);
    ASSERT_EQ(boxes.size(), 3u);
    EXPECT_FALSE(damaged);
    EXPECT_EQ(boxes[0].type, fourCC("free"));
    EXPECT_EQ(boxes[0].size, 11u);
    EXPECT_EQ(boxes[0].payloadSize(), 3u);
    EXPECT_EQ(boxes[1].type, fourCC("mdat"));
    EXPECT_EQ(boxes[1].headerSize, 16u);
    EXPECT_EQ(boxes[1].offset, 11u);
    EXPECT_EQ(boxes[1].end(), 32u);
    EXPECT_EQ(boxes[2].size, 15u);
    EXPECT_TRUE(boxes[2].toTheEnd);
}

TEST(BoxWalker, EndsBehindABoxThatOverrunsItsParent)
{
    bool damaged = false;
    auto boxes = walk(joined({ number(100, 4), bytes("mdat"), Bytes(20) }), &damaged);
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_TRUE(boxes[0].overruns);
    EXPECT_EQ(boxes[0].size, 28u);
    EXPECT_TRUE(damaged);
}

TEST(BoxWalker, EndsAtASizeSmallerThanTheHeader)
{
    for (std::uint32_t size : { 2u, 7u }) {
        bool damaged = false;
        EXPECT_TRUE(walk(joined({ number(size, 4), bytes("free"), Bytes(20) }), &damaged).empty());
        EXPECT_TRUE(damaged);
    }
    bool damaged = false;
    EXPECT_TRUE(walk(joined({ number(1, 4), bytes("free"), number(15, 8), Bytes(20) }), &damaged).empty());
    EXPECT_TRUE(damaged);
}

TEST(BoxWalker, HugeWideSizeDoesNotWrap)
{
    auto boxes = walk(joined({ number(1, 4), bytes("mdat"), number(UINT64_MAX, 8), Bytes(4) }));
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_TRUE(boxes[0].overruns);
    EXPECT_EQ(boxes[0].size, 20u);
}

TEST(BoxWalker, FourZeroBytesCloseAList)
{
    bool damaged = true;
    EXPECT_EQ(walk(joined({ freeBox(8), Bytes(4) }), &damaged).size(), 1u);
    EXPECT_FALSE(damaged);
    walk(joined({ freeBox(8), Bytes(3) }), &damaged);
    EXPECT_TRUE(damaged);
    walk(joined({ freeBox(8), bytes("four") }), &damaged);
    EXPECT_TRUE(damaged);
}

TEST(BoxWalker, StopsAfterTheLimitOfBoxes)
{
    Bytes file;
    for (std::size_t i = 0; i < BoxWalker::MaxBoxes + 10; ++i)
        file.insert(file.end(), { 0, 0, 0, 8, 'f', 'r', 'e', 'e' });
    bool damaged = false;
    EXPECT_EQ(walk(file, &damaged).size(), BoxWalker::MaxBoxes);
    EXPECT_TRUE(damaged);
}

TEST(FirstBoxOffset, PassesOverAnId3v2Tag)
{
    auto offset = [](const Bytes& file) {
        StructureReader reader { ByteView(file) };
        return firstBoxOffset(reader);
    };
    EXPECT_EQ(offset(freeBox(20)), 0u);
    EXPECT_EQ(offset({}), 0u);
    EXPECT_EQ(offset(joined({ bytes("ID3"), Bytes { 3, 0, 0, 0, 0, 2, 1 }, Bytes(300) })), 10u + 257u);
    EXPECT_EQ(
        offset(joined({ bytes("ID3"), Bytes { 3, 0, 0, 0, 0, 0, 0 }, bytes("ID3"), Bytes { 3, 0, 0, 0, 0, 0, 7 } })),
        27u);
    EXPECT_EQ(offset(joined({ bytes("ID3"), Bytes { 4, 0, 0x10, 0, 0, 0, 5 }, Bytes(300) })), 15u);
    EXPECT_EQ(
        offset(joined({ bytes("ID3"), Bytes { 4, 0, 0x10, 0, 0, 0, 5 }, Bytes(5), bytes("3DI"), Bytes(7) })), 25u);
}

TEST(StructureReader, ChecksEveryPlaceAgainstTheSize)
{
    Bytes file(100, 7);
    StructureReader reader { ByteView(file) };
    EXPECT_EQ(reader.peek(90, 10).size(), 10u);
    EXPECT_TRUE(reader.peek(91, 10).empty());
    EXPECT_TRUE(reader.peek(UINT64_MAX, 10).empty());
    EXPECT_FALSE(reader.copy(0, UINT64_MAX).ok());
    EXPECT_FALSE(reader.copy(101, 0).ok());
    EXPECT_EQ(reader.copy(0, 100)->size(), 100u);
}

} // namespace
} // namespace mv
