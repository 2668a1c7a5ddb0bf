#include "system/DateText.h"

#include "tests/support/LocalZone.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using test::LocalZone;
using namespace std::chrono_literals;

// Berlin's rule of today, without a zone file.
constexpr const char* Berlin = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr const char* NewYork = "EST5EDT,M3.2.0,M11.1.0";

constexpr std::int64_t FirstOfMay2013 = 1'367'366'400; // 2013-05-01 00:00:00 UTC
constexpr std::int64_t Hour = 3600;

std::optional<Date> at(std::int64_t seconds) { return Date::fromSeconds(seconds); }

TEST(NSDateFormatter, ReadsLocalTime)
{
    {
        LocalZone zone(Berlin);
        EXPECT_EQ(dateFromExifText("2013:05:01 12:00:00"), at(FirstOfMay2013 + 10 * Hour));
        EXPECT_EQ(dateFromExifText("2013:01:01 12:00:00"), at(1'356'998'400 + 11 * Hour));
    }
    {
        LocalZone zone(NewYork);
        EXPECT_EQ(dateFromExifText("2013:05:01 12:00:00"), at(FirstOfMay2013 + 16 * Hour));
    }
    LocalZone zone("UTC0");
    EXPECT_EQ(dateFromExifText("2013:05:01 12:00:00"), at(FirstOfMay2013 + 12 * Hour));
    EXPECT_EQ(dateFromExifText("1969:12:31 23:59:59"), at(-1));
    EXPECT_EQ(dateFromExifText("0001:01:01 00:00:00"), at(-62'135'596'800));
    EXPECT_EQ(dateFromExifText("9999:12:31 23:59:59"), at(253'402'300'799));
}

/// 2013-10-27 02:30 comes twice in Berlin. What was asked before has no say in which one is meant.
TEST(NSDateFormatter, ATimeThatComesTwiceIsTheFirst)
{
    constexpr std::int64_t InSummerTime = 1'382'833'800; // 00:30 UTC
    LocalZone zone(Berlin);
    for (const char* askedBefore : { "2013:07:01 12:00:00", "2013:01:01 12:00:00", "2013:12:24 12:00:00" }) {
        ASSERT_TRUE(dateFromExifText(askedBefore));
        EXPECT_EQ(dateFromExifText("2013:10:27 02:30:00"), at(InSummerTime)) << askedBefore;
    }
    EXPECT_EQ(dateFromExifText("2013:10:27 01:59:59"), at(InSummerTime - 1801));
    EXPECT_EQ(dateFromExifText("2013:10:27 03:00:00"), at(InSummerTime + 5400));
}

/// 2013-03-31 02:30 never comes in Berlin.
TEST(NSDateFormatter, ATimeThatNeverComesCountsOn)
{
    constexpr std::int64_t HalfPastThree = 1'364'693'400; // 01:30 UTC
    LocalZone zone(Berlin);
    for (const char* askedBefore : { "2013:07:01 12:00:00", "2013:01:01 12:00:00" }) {
        ASSERT_TRUE(dateFromExifText(askedBefore));
        EXPECT_EQ(dateFromExifText("2013:03:31 02:30:00"), at(HalfPastThree)) << askedBefore;
    }
    EXPECT_EQ(dateFromExifText("2013:03:31 03:30:00"), at(HalfPastThree));
}

TEST(NSDateFormatter, BlanksCountAsZeros)
{
    LocalZone zone("UTC0");
    EXPECT_EQ(dateFromExifText("2013: 5: 1 12: 0: 0"), at(FirstOfMay2013 + 12 * Hour));
    EXPECT_EQ(dateFromExifText("2013:05:01 12:00:  "), at(FirstOfMay2013 + 12 * Hour));
    EXPECT_EQ(dateFromExifText("2013:05:01   :  :  "), at(FirstOfMay2013));
    EXPECT_EQ(dateFromExifText(" 813: 5: 1  1: 2: 3"), dateFromExifText("0813:05:01 01:02:03"));
    // Behind a digit a blank is not a digit.
    EXPECT_FALSE(dateFromExifText("2013:5 :01 12:00:00"));
    EXPECT_FALSE(dateFromExifText("2 13:05:01 12:00:00"));
    // No year, no month, no day.
    EXPECT_FALSE(dateFromExifText("    :  :     :  :  "));
    EXPECT_FALSE(dateFromExifText("2013:  :01 12:00:00"));
}

TEST(NSDateFormatter, IsStrict)
{
    for (const char* text : { "2013:13:01 12:00:00", "2013:00:01 12:00:00", "2013:04:31 12:00:00",
             "2013:02:29 12:00:00", "2013:05:01 24:00:00", "2013:05:01 12:60:00", "2013:05:01 12:00:60",
             "2013-05-01 12:00:00", "2013:05:01T12:00:00", "0000:00:00 00:00:00", "2013:05:01 12:00:0",
             "2013:05:01 12:00:00 ", "2013:+5:01 12:00:00", "2013:\t5:01 12:00:00", "" })
        EXPECT_EQ(dateFromExifText(text), std::nullopt) << text;
}

TEST(NSDateFormatter, KnowsLeapYears)
{
    EXPECT_TRUE(dateFromExifText("2012:02:29 00:00:00"));
    EXPECT_TRUE(dateFromExifText("2000:02:29 00:00:00"));
    EXPECT_FALSE(dateFromExifText("1900:02:29 00:00:00"));
}

TEST(NSDateFormatter, MetadataTextsWithAZoneAreOfThatZone)
{
    LocalZone zone(Berlin);
    constexpr std::int64_t Moment = 1'273'129'689; // 2010-05-06 07:08:09 UTC
    for (const char* text : { "2010-05-06T07:08:09Z", "2010-05-06 07:08:09Z", "2010-05-06T07:08:09.000000Z",
             "2010-05-06 16:08:09+0900", "2010-05-06 16:08:09+09", "2010-05-06T02:38:09-04:30" })
        EXPECT_EQ(dateFromMetadataText(text), at(Moment)) << text;
    EXPECT_EQ(dateFromMetadataText("2010-05-06T07:08:09.25Z"), (Date { Moment * 1'000'000 + 250'000 }));
    EXPECT_EQ(dateFromMetadataText("2010-05-06T07:08:09.1234567Z"), (Date { Moment * 1'000'000 + 123'456 }));
}

TEST(NSDateFormatter, MetadataTextsWithoutAZoneAreLocal)
{
    LocalZone zone(Berlin);
    constexpr std::int64_t Moment = 1'273'122'489; // 2010-05-06 05:08:09 UTC
    EXPECT_EQ(dateFromMetadataText("2010-05-06 07:08:09"), at(Moment));
    EXPECT_EQ(dateFromMetadataText("2010-05-06T07:08:09"), at(Moment));
    EXPECT_EQ(dateFromMetadataText("2010-05-06 07:08:09.000000"), at(Moment));
}

TEST(NSDateFormatter, MetadataTextsInCamerasForms)
{
    LocalZone zone("UTC0");
    constexpr std::int64_t Day = 980'553'600; // 2001-01-27 00:00:00 UTC
    EXPECT_EQ(dateFromMetadataText("2001-01-27 09:19"), at(Day + 9 * Hour + 19 * 60));
    EXPECT_EQ(dateFromMetadataText("2001-01-27/ 09:19"), at(Day + 9 * Hour + 19 * 60));
    EXPECT_EQ(dateFromMetadataText("2001- 1-27  1:42PM"), at(Day + 13 * Hour + 42 * 60));
    EXPECT_EQ(dateFromMetadataText("2001- 1-27 12:00AM"), at(Day));
    EXPECT_EQ(dateFromMetadataText("2001- 1-27 12:00PM"), at(Day + 12 * Hour));
}

TEST(NSDateFormatter, OtherMetadataTextsAreNoDates)
{
    for (const char* text : { "", "07:08:09", "2010", "2010-05-06", "2010-05-06T", "2010-05-06 07",
             "2010-13-06 07:08:09", "2010-02-30 07:08:09", "2010-05-06 24:08:09", "2010-05-06 07:08:09 x",
             "2010-05-06 07:08:09UTC", "2010-05-06 07:08:09+", "2010-05-06 07:08:09+1", "2010-05-06 07:08:09+01:0",
             "2010-05-06 13:08PM", "2010-05-06 00:08AM", "2010:05:06 07:08:09", "20100506T070809Z",
             "2010-05-06 07:08.5", "x2010-05-06 07:08" })
        EXPECT_EQ(dateFromMetadataText(text), std::nullopt) << text;
}

} // namespace
} // namespace mv
