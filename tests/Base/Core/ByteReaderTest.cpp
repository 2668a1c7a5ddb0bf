#include "Base/Core/ByteReader.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

TEST(ByteReader, ReadsBothByteOrders)
{
    Bytes bytes { 1, 2, 3, 4, 5, 6, 7, 8 };
    ByteReader big(bytes);
    EXPECT_EQ(big.u8(), 1u);
    EXPECT_EQ(big.u16be(), 0x0203u);
    EXPECT_EQ(big.u32be(), 0x04050607u);
    ByteReader little(bytes);
    EXPECT_EQ(little.u16le(), 0x0201u);
    EXPECT_EQ(little.u32le(), 0x06050403u);
    ByteReader wide(bytes);
    EXPECT_EQ(wide.u64be(), 0x0102030405060708u);
    EXPECT_TRUE(wide.atEnd());
    EXPECT_FALSE(wide.failed());
}

TEST(ByteReader, PastTheEndFailsForGood)
{
    Bytes bytes { 1, 2, 3 };
    ByteReader reader(bytes);
    EXPECT_EQ(reader.u32be(), 0u);
    EXPECT_TRUE(reader.failed());
    EXPECT_EQ(reader.position(), 0u);
    EXPECT_EQ(reader.u8(), 0u) << "nothing is read after a failure";
}

TEST(ByteReader, HugeLengthsDoNotWrap)
{
    Bytes bytes { 1, 2, 3 };
    ByteReader reader(bytes);
    reader.u8();
    EXPECT_TRUE(reader.take(SIZE_MAX).empty());
    EXPECT_TRUE(reader.failed());
}

TEST(ByteReader, SeekPastTheEndFails)
{
    Bytes bytes { 1, 2, 3 };
    ByteReader reader(bytes);
    reader.seek(3);
    EXPECT_FALSE(reader.failed());
    reader.seek(4);
    EXPECT_TRUE(reader.failed());
}

TEST(ByteWriter, WritesWhatTheReaderReads)
{
    Bytes bytes;
    ByteWriter writer(bytes);
    writer.u24be(0x010203);
    writer.u64be(0x0405060708090A0B);
    writer.u16le(0x0102);
    writer.u64le(0x0405060708090A0B);
    writer.text("moov");
    ByteReader reader(bytes);
    EXPECT_EQ(reader.u24be(), 0x010203u);
    EXPECT_EQ(reader.u64be(), 0x0405060708090A0Bu);
    EXPECT_EQ(reader.u16le(), 0x0102u);
    EXPECT_EQ(reader.u64le(), 0x0405060708090A0Bu);
    EXPECT_EQ(reader.u32be(), fourCC("moov"));
}

} // namespace
} // namespace mv
