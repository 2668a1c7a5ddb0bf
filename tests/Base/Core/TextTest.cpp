#include "Base/Core/Text.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

TEST(Text, FormatsAsPrintf)
{
    EXPECT_EQ(formatText("art[%d]: %s", 3, "x"), "art[3]: x");
    EXPECT_EQ(formatText("%s", std::string(5000, 'a').c_str()).size(), 5000u);
}

TEST(Text, Utf8Validity)
{
    EXPECT_TRUE(isValidUtf8("한국어 \xF0\x9F\x98\x80"));
    EXPECT_FALSE(isValidUtf8("\xC0\xAF")) << "overlong";
    EXPECT_FALSE(isValidUtf8("\xED\xA0\x80")) << "surrogate";
    EXPECT_FALSE(isValidUtf8("\xF4\x90\x80\x80")) << "above U+10FFFF";
    EXPECT_FALSE(isValidUtf8("\xE2\x82")) << "cut";
    EXPECT_FALSE(isValidUtf8("a\xFF"));
}

TEST(Text, CleaningReplacesOnlyWhatIsIllFormed)
{
    EXPECT_EQ(cleanedUtf8("caf\xE9!"), "caf\xEF\xBF\xBD!");
    EXPECT_EQ(cleanedUtf8("한국"), "한국");
}

TEST(Text, TruncationKeepsWholeCharacters)
{
    EXPECT_EQ(truncatedUtf8("한국", 5), "한");
    EXPECT_EQ(truncatedUtf8("한국", 6), "한국");
    EXPECT_EQ(truncatedUtf8("abc", 2), "ab");
}

TEST(Text, Latin1)
{
    Bytes bytes { 'c', 'a', 'f', 0xE9 };
    EXPECT_EQ(utf8FromLatin1(bytes), "café");
}

TEST(Text, Utf16BothOrders)
{
    Bytes little { 0x5C, 0xD5, 0x3D, 0xD8, 0x00, 0xDE };
    EXPECT_EQ(utf8FromUtf16LE(little), "한😀");
    Bytes big { 0xD5, 0x5C, 0xD8, 0x3D, 0xDE, 0x00 };
    EXPECT_EQ(utf8FromUtf16BE(big), "한😀");
    Bytes lone { 0x3D, 0xD8 };
    EXPECT_EQ(utf8FromUtf16LE(lone), std::nullopt);
    Bytes odd { 0x41, 0x00, 0x42 };
    EXPECT_EQ(utf8FromUtf16LE(odd), "A");
}

TEST(Text, Cp949)
{
    Bytes korean { 0xC7, 0xD1, 0xB1, 0xB9, 0xBE, 0xEE };
    EXPECT_EQ(utf8FromCP949(korean), "한국어");
    EXPECT_EQ(utf8FromCP949(bytesOf("plain")), "plain");
    Bytes invalid { 'c', 'a', 'f', 0xE9 };
    EXPECT_EQ(utf8FromCP949(invalid), std::nullopt);
    EXPECT_EQ(utf8FromCP949(korean), "한국어") << "a failure leaves no trace in the converter";
}

TEST(Text, Utf16RoundTrip)
{
    EXPECT_EQ(utf16FromUtf8("a한😀"), u"a한😀");
    EXPECT_EQ(utf8FromUtf16(u"a한😀"), "a한😀");
    EXPECT_EQ(utf8FromUtf16(std::u16string(1, 0xD83D) + u"x"), "\xEF\xBF\xBDx");
}

TEST(Text, LeadingInteger)
{
    EXPECT_EQ(leadingInteger("3/12"), 3);
    EXPECT_EQ(leadingInteger("  07 "), 7);
    EXPECT_EQ(leadingInteger("abc"), 0);
    EXPECT_EQ(leadingInteger("-5x"), -5);
    EXPECT_EQ(leadingInteger(""), 0);
    EXPECT_EQ(leadingInteger("99999999999999999999"), 2147483647);
    EXPECT_EQ(leadingInteger("-99999999999999999999"), -2147483647 - 1);
}

TEST(Text, FourCharacterCodes)
{
    EXPECT_EQ(fourCharacterText(0x61766331), "avc1");
    EXPECT_EQ(fourCharacterText(0xA96E616D), "©nam");
}

TEST(Text, WhatMaySendIsUtf8WithoutZeroBytes)
{
    EXPECT_TRUE(isSendableText("a é"));
    EXPECT_TRUE(isSendableText(""));
    for (std::string_view text : { std::string_view("MS\0\x02", 4), std::string_view("\xE9") }) {
        EXPECT_FALSE(isSendableText(text));
        EXPECT_TRUE(isSendableText(sendableText(text)));
    }
    EXPECT_EQ(sendableText(std::string_view("MS\0\x02", 4)), "MS\uFFFD\x02");
    EXPECT_EQ(sendableText("a é"), "a é");
}

TEST(Text, CaseOfAsciiOnly)
{
    EXPECT_EQ(toUpperAscii("mp4a é"), "MP4A é");
    EXPECT_TRUE(equalIgnoringAsciiCase("FLAC", "flac"));
    EXPECT_FALSE(equalIgnoringAsciiCase("flac", "flac "));
}

} // namespace
} // namespace mv
