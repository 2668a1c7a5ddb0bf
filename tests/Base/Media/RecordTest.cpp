#include "Base/Media/Record.h"

#include <gtest/gtest.h>
#include <limits>

namespace mv {
namespace {

TEST(Value, IntegerValueOfEveryKind)
{
    EXPECT_EQ(Value(7).integerValue(), 7);
    EXPECT_EQ(Value(std::int64_t { 0x1'0000'0005 }).integerValue(), 5);
    EXPECT_EQ(Value(27.9).integerValue(), 27);
    EXPECT_EQ(Value(-27.9).integerValue(), -27);
    EXPECT_EQ(Value(1e20).integerValue(), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(Value(std::numeric_limits<double>::quiet_NaN()).integerValue(), 0);
    EXPECT_EQ(Value(true).integerValue(), 1);
    EXPECT_EQ(Value("07/15").integerValue(), 7);
    EXPECT_EQ(Value(NullObject {}).integerValue(), std::nullopt);
    EXPECT_EQ(Value(Bytes { 1 }).integerValue(), std::nullopt);
    EXPECT_EQ(Value(Date { 5 }).integerValue(), std::nullopt);
}

TEST(Value, BooleanValueIsANumberThatIsNotZero)
{
    EXPECT_EQ(Value(true).booleanValue(), true);
    EXPECT_EQ(Value(2).booleanValue(), true);
    EXPECT_EQ(Value(0).booleanValue(), false);
    EXPECT_EQ(Value(0.5).booleanValue(), true);
    EXPECT_EQ(Value(std::int64_t { 1 } << 32).booleanValue(), true);
    EXPECT_EQ(Value("yes").booleanValue(), std::nullopt);
}

TEST(Value, KindsAreKeptApart)
{
    EXPECT_NE(Value(1), Value(true));
    EXPECT_NE(Value(1), Value(std::int64_t { 1 }));
    EXPECT_NE(Value(1), Value(1.0));
    EXPECT_EQ(Value("a"), Value(std::string("a")));
    EXPECT_TRUE(Value().isNull());
    EXPECT_FALSE(Value().isOtherKind());
}

TEST(Value, AnOtherKindIsNothingElse)
{
    Value other { OtherKind {} };
    EXPECT_TRUE(other.isOtherKind());
    EXPECT_FALSE(other.isNull());
    EXPECT_FALSE(other.isNumber());
    EXPECT_EQ(other.integerValue(), std::nullopt);
    EXPECT_EQ(other.booleanValue(), std::nullopt);
    EXPECT_EQ(other.string(), nullptr);
    EXPECT_EQ(other.data(), nullptr);
}

TEST(Record, SetReplacesAndKeepsTheOrder)
{
    Record record { { "b", 1 }, { "a", 2 } };
    record.set("b", "text");
    ASSERT_EQ(record.size(), 2u);
    EXPECT_EQ(record.begin()->first, "b");
    EXPECT_EQ(*record.string("b"), "text");
    EXPECT_EQ(record.integer("a"), 2);
}

TEST(Record, ManyKeysAreFoundReplacedAndRemovedLikeFew)
{
    constexpr int Count = 1000;
    auto key = [](int i) { return "key " + std::to_string(i); };
    Record record;
    for (int i = 0; i < Count; ++i)
        record.set(key(i), i);
    record.set(key(7), "seven");
    record.remove(key(500));
    record.remove("missing");
    EXPECT_EQ(record.size(), Count - 1u);
    EXPECT_EQ(record.find(key(500)), nullptr);
    EXPECT_EQ(*record.string(key(7)), "seven");
    EXPECT_EQ(record.integer(key(999)), 999);
    EXPECT_EQ((record.begin() + 500)->first, key(501)) << "in the order in which they came";
    Record copy = record;
    copy.set(key(Count), Count);
    EXPECT_EQ(copy.integer(key(Count)), Count);
    EXPECT_EQ(record.find(key(Count)), nullptr);
    for (int i = 10; i <= Count; ++i)
        copy.remove(key(i));
    EXPECT_EQ(copy.size(), 10u);
    EXPECT_EQ(copy.integer(key(9)), 9);
    EXPECT_EQ(copy.find(key(10)), nullptr);
}

TEST(Record, LookupsOfMissingAndForeignKinds)
{
    Record record { { "n", 1 }, { "s", "x" }, { "d", Bytes { 1, 2 } }, { "t", Date { 9 } }, { "r", 1.5 } };
    EXPECT_EQ(record.string("n"), nullptr);
    EXPECT_EQ(record.data("s"), nullptr);
    EXPECT_EQ(record.find("missing"), nullptr);
    EXPECT_EQ(record.integer("missing"), std::nullopt);
    EXPECT_EQ(record.data("d")->size(), 2u);
    EXPECT_EQ(record.date("t")->microseconds, 9);
    EXPECT_EQ(record.real("r"), 1.5);
    EXPECT_EQ(record.real("n"), std::nullopt);
    EXPECT_EQ(record.real("missing"), std::nullopt);
}

TEST(Record, MergeKeepsWhatIsNotGiven)
{
    Record record { { "a", 1 }, { "b", 2 } };
    record.merge({ { "b", 3 }, { "c", 4 } });
    EXPECT_EQ(record, (Record { { "c", 4 }, { "b", 3 }, { "a", 1 } }));
    record.remove("a");
    EXPECT_FALSE(record.contains("a"));
}

} // namespace
} // namespace mv
