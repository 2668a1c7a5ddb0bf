#include "platform/system/NSDateFormatter.h"

#include <ctime>
#include <gtest/gtest.h>

namespace mv {
namespace {

TEST(NSDateFormatter, ReadsLocalTime)
{
    tm local {};
    local.tm_year = 113;
    local.tm_mon = 4;
    local.tm_mday = 1;
    local.tm_hour = 12;
    local.tm_isdst = -1;
    EXPECT_EQ(dateFromExifText("2013:05:01 12:00:00"), Date::fromSeconds(mktime(&local)));
}

TEST(NSDateFormatter, IsStrict)
{
    for (const char* text : { "2013:13:01 12:00:00", "2013:00:01 12:00:00", "2013:04:31 12:00:00",
             "2013:02:29 12:00:00", "2013:05:01 24:00:00", "2013:05:01 12:60:00", "2013:05:01 12:00:60",
             "2013-05-01 12:00:00", "2013:05:01T12:00:00", "0000:00:00 00:00:00",
             "    :  :     :  :  ", "2013:05:01 12:00:0", "2013:05:01 12:00:00 ", "2013: 5:01 12:00:00", "" })
        EXPECT_EQ(dateFromExifText(text), std::nullopt) << text;
}

TEST(NSDateFormatter, KnowsLeapYears)
{
    EXPECT_TRUE(dateFromExifText("2012:02:29 00:00:00"));
    EXPECT_TRUE(dateFromExifText("2000:02:29 00:00:00"));
    EXPECT_FALSE(dateFromExifText("1900:02:29 00:00:00"));
}

} // namespace
} // namespace mv
