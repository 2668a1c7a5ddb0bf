#include "cli/facts/FactQuery.h"
#include "cli/facts/TextFolding.h"
#include "tests/cli/facts/Songs.h"
#include "tests/support/LocalZone.h"

#include <gmock/gmock.h>

namespace mv::cli {
namespace {

bool matches(const DescribedFile& file, const std::string& text)
{
    auto query = FactQuery::parse(text);
    EXPECT_TRUE(query.ok()) << text << ": " << (query ? "" : query.error().text);
    return query && query->matches(file);
}

std::string faultOf(const std::string& text)
{
    auto query = FactQuery::parse(text);
    return query ? "" : query.error().text;
}

TEST(FactQuery, NumbersCompareInTheFieldsUnit)
{
    for (const char* text : { "bitrate=192000", "bitrate==192000", "bitrate!=128000", "bitrate<192001",
             "bitrate<=192000", "bitrate>191999", "bitrate>=192000", "bitrate=192k", "bitrate = 192kbit/s",
             "bitrate<0.2M", "sampleRate=44.1kHz", "sampleRate>=44100", "size=4.2MB", "size>4MiB", "size<4.1MiB",
             "trackNumber=4", "mivo:trackTotal=12", "channels=2" })
        EXPECT_TRUE(matches(aSong(), text)) << text;
    for (const char* text : { "bitrate!=192000", "bitrate<192000", "bitrate>192000", "bitrate=192", "size=4.2MiB",
             "discNumber=1", "discNumber<1", "discNumber>=0" })
        EXPECT_FALSE(matches(aSong(), text)) << text;
}

TEST(FactQuery, LengthsAreTimes)
{
    for (const char* text : { "length=185300000", "length=3:05", "length>3:04", "length<3:06", "length>=3:05",
             "length<=3:05", "length=185s", "length=185.3s", "length>3min", "length<0.1h", "length=0:03:05",
             "length!=3:06", "length=185300ms", "length>1000000us" })
        EXPECT_TRUE(matches(aSong(), text)) << text;
    for (const char* text : { "length=3:06", "length=185.2s", "length<3:05", "length=185299999" })
        EXPECT_FALSE(matches(aSong(), text)) << text;
    EXPECT_EQ(faultOf("length>180"),
        "at character 8: length is in microseconds, and 180 of them are less than a second: write 180s for seconds, "
        "3:05 for minutes and seconds, or 180us");
}

TEST(FactQuery, DatesCompareAsFarAsTheyAreWritten)
{
    test::LocalZone zone("UTC");
    for (const char* text : { "contentCreated=2010", "date=2010-05", "date=2010-05-04", "date<2011", "date<=2010",
             "date>2009-12", "date>=2010-05-04", "date!=2011", "date~05-04", "modified=2026", "modified=2026-01-01",
             "modified>=2026", "modified<2026-01-02", "modified>2025", "modified<=2026-01-01T00:00" })
        EXPECT_TRUE(matches(aSong(), text)) << text;
    for (const char* text : { "date=2011", "date<2010", "date>2010", "modified>2026", "modified=2025-12-31" })
        EXPECT_FALSE(matches(aSong(), text)) << text;
    EXPECT_TRUE(matches(aPhoto(), "date=2016-05-31T17:01"));
    EXPECT_NE(faultOf("date=summer"), "");
    EXPECT_NE(faultOf("modified=yesterday"), "");
}

TEST(FactQuery, RealNumbersCompareAsTheyAreWritten)
{
    for (const char* text :
        { "fNumber=2.8", "fNumber<2.81", "exposureTime=1/250", "exposureTime<1/200", "exposureTime=4ms", "latitude<0",
            "latitude=-33.8568", "latitude>-33.857", "altitude=35.5m", "focalLength=50mm" })
        EXPECT_TRUE(matches(aPhoto(), text)) << text;
    for (const char* text : { "fNumber=2.9", "exposureTime=1/200", "latitude=-33.86785" })
        EXPECT_FALSE(matches(aPhoto(), text)) << text;
}

TEST(FactQuery, TextsAndLists)
{
    for (const char* text : { "title=\"Don't\"", "title=Don't", "title~don", "title~'N\\'T'", "artist=AC/DC",
             "artist=Motörhead", "artist~MOTÖRHEAD", "artist~ac", "artist!=Bach", "path=a.mp3", "path~.MP3",
             "kind=audio", "title<E", "title>=Don", "comment!=x" })
        EXPECT_TRUE(matches(aSong(), text)) << text;
    for (const char* text :
        { "title=don't", "artist=motörhead", "artist!=AC/DC", "artist~bach", "comment=x", "comment~''", "title>E" })
        EXPECT_FALSE(matches(aSong(), text)) << text;
}

TEST(FactQuery, PresenceAndFlags)
{
    for (const char* text : { "hasPicture", "title", "!comment", "not comment", "!compilation", "hasPicture=true",
             "hasPicture=yes", "compilation=false", "compilation!=true", "!!title", "path" })
        EXPECT_TRUE(matches(aSong(), text)) << text;
    for (const char* text : { "!hasPicture", "compilation", "comment", "hasPicture=no" })
        EXPECT_FALSE(matches(aSong(), text)) << text;
}

TEST(FactQuery, AndOrNotWithParentheses)
{
    for (const char* text : { "title and artist", "title && artist", "TITLE AND NOT comment", "comment or title",
             "comment || title", "not (comment or lyrics)", "!(comment)", "comment and comment or title",
             "title or comment and comment", "not comment and title", "(title)and(artist)", "bitrate>1 and(title)" })
        EXPECT_TRUE(matches(aSong(), text)) << text;
    for (const char* text :
        { "title and comment", "comment and (comment or title)", "not comment and lyrics", "not (title or comment)" })
        EXPECT_FALSE(matches(aSong(), text)) << text;
}

TEST(FactQuery, SaysWhereATextIsWrong)
{
    struct Fault {
        const char* text;
        const char* sentence;
    };
    const Fault Faults[] = {
        { "", "at character 1: the name of a field is missing" },
        { "  ", "at character 3: the name of a field is missing" },
        { "bitrat<1", "at character 1: there is no field \"bitrat\"; did you mean bitrate?" },
        { "bitrate<", "at character 9: a value is missing" },
        { "bitrate<<", "at character 9: a value is missing" },
        { "bitrate<fast",
            "at character 9: \"fast\" is no value of bitrate, which takes a number, also with one of bit/s" },
        { "iso=many", "at character 5: \"many\" is no value of iso, which takes a number" },
        { "trackNumber=1e9", "at character 13: \"1e9\" is no value of trackNumber, which takes a number" },
        { "length=3:60",
            "at character 8: \"3:60\" is no value of length, which takes 3:05, or a number with one of us" },
        { "title artist", "at character 7: \"and\" or \"or\" is missing" },
        { "title and", "at character 10: the name of a field is missing" },
        { "title=and x", "at character 7: a value is missing; the word \"and\" as a value has to be in quotes" },
        { "title=(x)", "at character 7: a value is missing" },
        { "(title", "at character 1: this parenthesis is not closed" },
        { "(title artist)", "at character 8: \"and\" or \"or\" is missing" },
        { "title)", "at character 6: this parenthesis closes nothing" },
        { "title='ä", "at character 7: this quote is not closed" },
        { "title='ä' und", "at character 11: \"and\" or \"or\" is missing" },
        { "'title'=x", "at character 1: the name of a field is missing" },
        { "hasPicture>true", "at character 12: hasPicture is true or false, and neither is more than the other" },
        { "hasPicture=maybe", "at character 12: hasPicture is true or false, not \"maybe\"" },
        { "bitrate~1", "at character 9: ~ looks into texts, and bitrate is none" },
        { "date=2010-5", "at character 6: \"2010-5\" is no date such as 2010, 2010-05" },
    };
    for (const Fault& fault : Faults)
        EXPECT_THAT(faultOf(fault.text), testing::StartsWith(fault.sentence)) << fault.text;
}

TEST(FactQuery, IsBounded)
{
    std::string deep(FactQuery::MaxDepth, '(');
    std::string closing(FactQuery::MaxDepth, ')');
    EXPECT_TRUE(matches(aSong(), deep + "title" + closing));
    EXPECT_THAT(faultOf("(" + deep + "title" + closing + ")"), testing::HasSubstr("too deep"));
    EXPECT_THAT(faultOf(std::string(FactQuery::MaxDepth + 1, '!') + "title"), testing::HasSubstr("too deep"));
    EXPECT_NE(faultOf("title=" + std::string(FactQuery::MaxBytes, 'x')), "");
    std::string wide = "title";
    while (wide.size() + 10 < FactQuery::MaxBytes)
        wide += " or title";
    EXPECT_TRUE(matches(aSong(), wide));
}

TEST(TextFolding, MakesLettersSmall)
{
    EXPECT_EQ(foldedText("ABC xyz"), "abc xyz");
    EXPECT_EQ(foldedText("MOTÖRHEAD ÆØÅ"), "motörhead æøå");
    EXPECT_EQ(foldedText("ПРИВЕТ Ωμέγα"), "привет ωμέγα");
    EXPECT_EQ(foldedText("제목 🎵"), "제목 🎵");
    EXPECT_EQ(foldedText("a\xff"
                         "B"),
        "a\xef\xbf\xbd"
        "b");
}

} // namespace
} // namespace mv::cli
