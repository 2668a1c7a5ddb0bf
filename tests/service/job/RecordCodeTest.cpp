#include "service/job/RecordCode.h"

#include "Base/Core/ByteReader.h"

#include <gtest/gtest.h>
#include <limits>

namespace mv {
namespace {

Bytes encoded(const Record& record)
{
    Bytes bytes;
    encodeRecord(record, bytes);
    return bytes;
}

const Record Everything { { "null", NullObject {} }, { "yes", true }, { "no", false }, { "int", -7 },
    { "least", std::numeric_limits<std::int32_t>::min() }, { "long", std::int64_t { -5'000'000'000 } }, { "real", 0.1 },
    { "infinite", std::numeric_limits<double>::infinity() }, { "text", "앨범 \U0001F600" }, { "empty", "" },
    { "date", Date { -1 } }, { "data", Bytes { 0, 1, 255 } }, { "none", Bytes {} }, { "other", OtherKind {} } };

/// One entry with a key of one letter, and then these bytes.
Bytes oneEntry(ByteView value, std::uint32_t count = 1)
{
    Bytes bytes;
    ByteWriter writer(bytes);
    writer.u32le(count);
    writer.u32le(1);
    writer.text("k");
    writer.bytes(value);
    return bytes;
}

TEST(RecordCode, EveryKindComesBack)
{
    auto back = decodeRecord(encoded(Everything));
    ASSERT_TRUE(back.ok());
    EXPECT_EQ(*back, Everything);
    // The order is what clients see.
    EXPECT_TRUE(std::equal(back->begin(), back->end(), Everything.begin(), Everything.end()));
    EXPECT_TRUE(decodeRecord(encoded({})).ok());
}

TEST(RecordCode, NothingThatIsCutIsTaken)
{
    Bytes whole = encoded(Everything);
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(decodeRecord(ByteView(whole).first(size)).ok()) << size;
    whole.push_back(0);
    EXPECT_FALSE(decodeRecord(whole).ok());
}

TEST(RecordCode, OnlyWhatIsWrittenIsTaken)
{
    EXPECT_TRUE(decodeRecord(oneEntry(Bytes { 'b', 1 })).ok());
    EXPECT_FALSE(decodeRecord(oneEntry(Bytes { 'b', 2 })).ok()) << "no flag";
    EXPECT_FALSE(decodeRecord(oneEntry(Bytes { 'z' })).ok()) << "no kind";
    EXPECT_FALSE(decodeRecord(oneEntry(Bytes { 's', 1, 0, 0, 0, 0xff })).ok()) << "no UTF-8";
    EXPECT_FALSE(decodeRecord(oneEntry(Bytes { 's', 2, 0, 0, 0, 'a', 0 })).ok()) << "a zero byte";
    EXPECT_FALSE(decodeRecord(oneEntry(Bytes { 's', 0xff, 0xff, 0xff, 0xff, 'a' })).ok()) << "a text out of bounds";
    EXPECT_FALSE(decodeRecord(oneEntry(Bytes { 'y', 0xff, 0xff, 0xff, 0x7f, 'a' })).ok()) << "data out of bounds";
    EXPECT_FALSE(decodeRecord(oneEntry(Bytes { 'n', 1, 0, 0, 0, 'k', 'n' }, 2)).ok()) << "a key twice";
    EXPECT_TRUE(decodeRecord(oneEntry(Bytes { 'n', 1, 0, 0, 0, 'l', 'n' }, 2)).ok());
}

// Whoever sends what the other side refuses is taken for hostile.
TEST(RecordCode, AnHonestTextIsTakenWhateverItHolds)
{
    const Record odd { { "codec", std::string("MS\0\x02", 4) }, { "title", "\xE9" } };
    auto back = decodeRecord(encoded(odd));
    ASSERT_TRUE(back.ok());
    EXPECT_EQ(*back, (Record { { "codec", "MS\uFFFD\x02" }, { "title", "\uFFFD" } }));
    Bytes ofHost;
    encodeRecordOfHost(odd, ofHost);
    auto same = decodeRecordOfHost(ofHost);
    ASSERT_TRUE(same.ok());
    EXPECT_EQ(*same, odd);
}

TEST(RecordCode, ClaimsAreBounded)
{
    Bytes many;
    ByteWriter(many).u32le(MaxRecordEntries + 1);
    EXPECT_EQ(decodeRecord(many).error().kind, Error::Kind::Limit);
    Record longKey { { std::string(MaxKeyBytes + 1, 'k'), 1 } };
    EXPECT_FALSE(decodeRecord(encoded(longKey)).ok());
}

} // namespace
} // namespace mv
