#include <gtest/gtest.h>
#include <limits>
#include <mivo/Record.h>

namespace mivo {
namespace {

using Kind = Value::Kind;

TEST(Value, HasTheKindOfWhatItIsMadeOf)
{
    EXPECT_EQ(Value().kind(), Kind::Null);
    EXPECT_EQ(Value(static_cast<const char*>(nullptr)).kind(), Kind::Null);
    EXPECT_EQ(Value(false).kind(), Kind::Boolean);
    EXPECT_EQ(Value(7).kind(), Kind::Integer);
    EXPECT_EQ(Value(7L << 40).kind(), Kind::Integer);
    EXPECT_EQ(Value(0.5f).kind(), Kind::Real);
    EXPECT_EQ(Value("text").kind(), Kind::Text);
    EXPECT_EQ(Value(std::string("text")).kind(), Kind::Text);
    EXPECT_EQ(Value(std::string_view("text")).kind(), Kind::Text);
    char mutableText[] = "text";
    EXPECT_EQ(Value(mutableText).kind(), Kind::Text);
    EXPECT_EQ(Value(Date { 5 }).kind(), Kind::Date);
    EXPECT_EQ(Value(Bytes { 1 }).kind(), Kind::Data);
    static_assert(!std::is_constructible_v<Value, int*>);
}

TEST(Value, GivesWhatItHolds)
{
    EXPECT_TRUE(Value(true).boolean());
    EXPECT_EQ(Value(-7).integer(), -7);
    EXPECT_EQ(Value(1LL << 40).integer(), 1LL << 40);
    EXPECT_EQ(Value(0.5).real(), 0.5);
    EXPECT_EQ(Value("text").text(), "text");
    EXPECT_EQ(Value(Date { 5 }).date(), Date { 5 });
    EXPECT_EQ(Value(Bytes { 1, 2 }).data(), (Bytes { 1, 2 }));
    EXPECT_EQ(Date::from(Date { 1234567 }.timePoint()), Date { 1234567 });
}

TEST(Value, NumbersAreNumbersOfEveryKind)
{
    EXPECT_EQ(Value(3).real(), 3.0);
    EXPECT_EQ(Value(-2.9).integer(), -2);
    EXPECT_TRUE(Value(2).boolean());
    EXPECT_EQ(Value(true).integer(), 1);
    EXPECT_EQ(Value(1e300).integer(), std::numeric_limits<long long>::max());
    EXPECT_EQ(Value(-1e300).integer(), std::numeric_limits<long long>::min());
    EXPECT_EQ(Value(std::numeric_limits<double>::quiet_NaN()).integer(9), 9);
}

TEST(Value, WhatItIsNotIsTheFallback)
{
    for (const Value& value : { Value(), Value("12") }) {
        EXPECT_EQ(value.integer(5), 5);
        EXPECT_EQ(value.real(0.5), 0.5);
        EXPECT_EQ(value.date(Date { 3 }), Date { 3 });
        EXPECT_TRUE(value.data().empty());
    }
    EXPECT_TRUE(Value().boolean(true));
    EXPECT_EQ(Value(12).text(), "");
}

TEST(Value, CopiesShareAndOutliveTheirSource)
{
    Value copy;
    {
        Value value(std::string(1000, 'x'));
        copy = value;
        EXPECT_EQ(copy.text().data(), value.text().data());
    }
    EXPECT_EQ(copy.text().size(), 1000u);
    Value moved = std::move(copy);
    EXPECT_EQ(moved.text().size(), 1000u);
    EXPECT_NE(moved, Value("x"));
    EXPECT_EQ(moved, Value(std::string(1000, 'x')));
    EXPECT_NE(Value(1), Value(true));
}

TEST(Record, HoldsValuesByTheirKeys)
{
    Record record { { "Title", "Song" }, { "TrackNo", 7 } };
    EXPECT_EQ(record["Title"].text(), "Song");
    EXPECT_TRUE(record["Album"].isNull());
    EXPECT_FALSE(record.contains("Album"));
    record.set("Album", Value()).set("Title", "Other");
    EXPECT_TRUE(record.contains("Album"));
    EXPECT_EQ(record["Title"].text(), "Other");
    std::string keys;
    for (const auto& [key, value] : record)
        keys += key + " ";
    EXPECT_EQ(keys, "Album Title TrackNo ");
    EXPECT_TRUE(record.remove("Album"));
    EXPECT_FALSE(record.remove("Album"));
    EXPECT_FALSE(Record().remove("Album"));
}

TEST(Record, CopiesAreIndependent)
{
    Record record { { "Title", "Song" } };
    Record copy = record;
    copy.set("Title", "Other");
    EXPECT_EQ(record["Title"].text(), "Song");
    EXPECT_NE(record, copy);
    Record moved = std::move(copy);
    EXPECT_EQ(moved["Title"].text(), "Other");
    copy = record;
    EXPECT_EQ(copy, record);
    Record& itself = copy;
    copy = itself;
    EXPECT_EQ(copy, record);
    EXPECT_TRUE(Record().empty());
}

} // namespace
} // namespace mivo
