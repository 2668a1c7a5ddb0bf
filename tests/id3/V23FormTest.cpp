#include "id3/V23Form.h"

#include "tests/support/Mp3Maker.h"

#include <gtest/gtest.h>

namespace mv::test {
namespace {

std::string form(std::string_view storedId, int version, const std::string& content)
{
    std::string id = v23FrameId(storedId);
    auto body = v23Body(id, storedId, version, bytesOf(content));
    return body ? std::string(charsOf(*body)) : content;
}

std::string utf16Text(std::string_view ascii) { return zeroed("\1\xFF\xFE") + utf16LE(ascii); }

TEST(V23FrameId, NamesOfOtherVersions)
{
    EXPECT_EQ(v23FrameId("TT2"), "TIT2");
    EXPECT_EQ(v23FrameId("PIC"), "APIC");
    EXPECT_EQ(v23FrameId("TDRC"), "TYER");
    EXPECT_EQ(v23FrameId("TYE"), "TYER");
    EXPECT_EQ(v23FrameId("TID"), "TGID");
    EXPECT_EQ(v23FrameId("WFD"), "WFED");
    EXPECT_EQ(v23FrameId("GP1"), "GRP1");
    EXPECT_EQ(v23FrameId("TIPL"), "IPLS");
    EXPECT_EQ(v23FrameId("TIT2"), "TIT2");
    EXPECT_EQ(v23FrameId("XYZ"), "XYZ");
    EXPECT_EQ(v23FrameId("ABCD"), "ABCD");
}

TEST(V23Body, WhatV23AllowsStays)
{
    for (const std::string& content : { zeroed("\0text"), zeroed("\1\xFF\xFE") + utf16LE("a"),
             zeroed("\1\xFE\xFF") + utf16BE("a"), zeroed("\0one\0two"), std::string() })
        EXPECT_EQ(form("TIT2", 3, content), content);
    EXPECT_EQ(form("APIC", 3, zeroed("\1image/png\0\3\xFF\xFE\0\0data")), zeroed("\1image/png\0\3\xFF\xFE\0\0data"));
    EXPECT_EQ(form("PRIV", 4, zeroed("\3whatever")), zeroed("\3whatever"));
}

TEST(V23Body, TextOfLaterEncodings)
{
    EXPECT_EQ(form("TIT2", 4, zeroed("\3abc")), utf16Text("abc"));
    EXPECT_EQ(form("TIT2", 4, zeroed("\3abc\0")), utf16Text("abc"));
    EXPECT_EQ(form("TIT2", 4, zeroed("\2") + utf16BE("abc")), utf16Text("abc"));
    EXPECT_EQ(form("TIT2", 4, zeroed("\2\xFE\xFF") + utf16BE("abc")), utf16Text("abc"));
    EXPECT_EQ(form("TIT2", 3, zeroed("\3abc")), utf16Text("abc")) << "not allowed there, but written";
    EXPECT_EQ(form("TIT2", 4, "\3\xF0\x9F\x98\x80"), zeroed("\1\xFF\xFE\x3D\xD8\0\xDE")) << "U+1F600";
    EXPECT_EQ(form("TIT2", 4,
                  "\3\xEF\xBB\xBF"
                  "abc"),
        utf16Text("abc"))
        << "with a mark of its own";
    EXPECT_EQ(form("TIT2", 4, "\3\xE9t\xE9"), zeroed("\1\xFF\xFE\xE9\0t\0\xE9\0")) << "labelled UTF-8, but Latin-1";
}

TEST(V23Body, Utf16WithoutAMark)
{
    EXPECT_EQ(form("TIT2", 3, zeroed("\1") + utf16LE("Song")), utf16Text("Song"));
    EXPECT_EQ(form("TIT2", 3, zeroed("\1") + utf16BE("Song")), utf16Text("Song"));
    // Korean has no zero bytes to tell by: little-endian.
    EXPECT_EQ(form("TIT2", 3, "\1\x5C\xD5\x6D\xAD"), "\1\xFF\xFE\x5C\xD5\x6D\xAD");
}

TEST(V23Body, SeveralValuesOfV24)
{
    EXPECT_EQ(form("TPE1", 4, zeroed("\3One\0Two\0")), utf16Text("One/Two"));
    EXPECT_EQ(form("TPE1", 4, zeroed("\0One\0Two")), zeroed("\0One/Two"));
    EXPECT_EQ(form("TPE1", 4, zeroed("\2") + utf16BE("One") + zeroed("\0\0") + utf16BE("Two")), utf16Text("One/Two"));
    EXPECT_EQ(form("TPE1", 4, "\1" + MarkLE + utf16LE("One") + zeroed("\0\0") + MarkLE + utf16LE("Two")),
        utf16Text("One/Two"));
    EXPECT_EQ(form("TPE1", 4, "\1" + MarkLE + utf16LE("One") + zeroed("\0\0") + utf16LE("Two")), utf16Text("One/Two"))
        << "the mark only once";
    EXPECT_EQ(form("TPE1", 4, "\1" + MarkBE + utf16BE("One") + zeroed("\0\0") + utf16BE("Two")), utf16Text("One/Two"));
    // CP949 bytes of a mislabelled text survive.
    EXPECT_EQ(form("TPE1", 4, zeroed("\0\xB0\xA1\0\xB3\xAA")), zeroed("\0\xB0\xA1/\xB3\xAA"));
}

TEST(V23Body, GenresOfV24)
{
    EXPECT_EQ(form("TCON", 4,
                  zeroed("\0"
                         "17")),
        zeroed("\0(17)"));
    EXPECT_EQ(form("TCON", 4,
                  zeroed("\3"
                         "17\0Mine")),
        utf16Text("(17)/Mine"));
    EXPECT_EQ(form("TCON", 4,
                  zeroed("\3"
                         "1980")),
        utf16Text("1980"))
        << "no genre number";
    EXPECT_EQ(form("TCON", 4, zeroed("\3RX")), utf16Text("RX"));
    EXPECT_EQ(form("TCON", 4, zeroed("\3(17)")), utf16Text("(17)"));
    EXPECT_EQ(form("TCON", 3,
                  zeroed("\0"
                         "17")),
        zeroed("\0"
               "17"))
        << "v2.3 has no bare numbers";
    EXPECT_EQ(form("TIT2", 4,
                  zeroed("\0"
                         "17")),
        zeroed("\0"
               "17"));
}

TEST(V23Body, TheYearOfATimestamp)
{
    EXPECT_EQ(form("TDRC", 4,
                  zeroed("\3"
                         "2004-05-06T12:00")),
        utf16Text("2004"));
    EXPECT_EQ(form("TDRC", 4,
                  zeroed("\0"
                         "2004")),
        zeroed("\0"
               "2004"));
    EXPECT_EQ(form("TDRC", 3,
                  zeroed("\0"
                         "2004-05")),
        zeroed("\0"
               "2004"));
    EXPECT_EQ(form("TDRC", 4, zeroed("\0Oct 3rd")), zeroed("\0Oct 3rd")) << "no time stamp: kept whole";
    EXPECT_EQ(form("TYER", 4,
                  zeroed("\0"
                         "2004x")),
        zeroed("\0"
               "2004x"));
}

TEST(V23Body, CommentsAndLyrics)
{
    std::string desc = zeroed("\xFF\xFE") + utf16LE("d") + zeroed("\0\0");
    EXPECT_EQ(form("COMM", 4, zeroed("\3engd\0text")), "\1eng" + desc + MarkLE + utf16LE("text"));
    EXPECT_EQ(form("COMM", 3, zeroed("\0engd\0text")), zeroed("\0engd\0text"));
    EXPECT_EQ(form("USLT", 3, "\1eng" + desc + utf16LE("t")), "\1eng" + desc + MarkLE + utf16LE("t"));
    EXPECT_EQ(form("COMM", 3, "\1eng" + MarkBE + utf16BE("d") + zeroed("\0\0") + "\x4E\x2D"),
        "\1eng" + desc + MarkLE + "\x2D\x4E")
        << "a text without a mark has its description's order";
    EXPECT_EQ(form("COMM", 3, "\1eng" + MarkLE + utf16LE("d") + zeroed("\0\0") + "\x2D\x4E"),
        "\1eng" + desc + MarkLE + "\x2D\x4E");
    EXPECT_EQ(form("COMM", 4, "\3en"), "\3en") << "too short to be one";
}

TEST(V23Body, PicturesOfV22)
{
    EXPECT_EQ(form("PIC", 2, zeroed("\0JPG\3cover\0DATA")), zeroed("\0image/jpeg\0\3cover\0DATA"));
    EXPECT_EQ(form("PIC", 2, zeroed("\0PNG\3\0DATA")), zeroed("\0image/png\0\3\0DATA"));
    EXPECT_EQ(form("PIC", 2, zeroed("\0-->\3\0http")), zeroed("\0-->\0\3\0http"));
    EXPECT_EQ(form("PIC", 2, zeroed("\0JP")), zeroed("\0JP"));
}

TEST(V23Body, DescriptionsOfV24)
{
    std::string desc = MarkLE + utf16LE("d") + zeroed("\0\0");
    EXPECT_EQ(form("APIC", 4, zeroed("\3image/png\0\3d\0DATA")), zeroed("\1image/png\0\3") + desc + "DATA");
    EXPECT_EQ(form("TXXX", 4, zeroed("\3d\0v")), "\1" + desc + MarkLE + utf16LE("v"));
    EXPECT_EQ(form("WXXX", 4, zeroed("\3d\0http")), "\1" + desc + "http");
    EXPECT_EQ(form("GEOB", 4, zeroed("\3a/b\0f\0d\0DATA")),
        zeroed("\1a/b\0") + MarkLE + utf16LE("f") + zeroed("\0\0") + desc + "DATA");
    std::string second = MarkLE + utf16LE("e") + zeroed("\0\0");
    EXPECT_EQ(form("TIPL", 4, zeroed("\3d\0e")), "\1" + desc + second);
    EXPECT_EQ(form("USER", 4, "\3engd"), "\1eng" + MarkLE + utf16LE("d"));
    EXPECT_EQ(form("OWNE", 4, zeroed("\3EUR1\00020260101d")), zeroed("\1EUR1\00020260101") + MarkLE + utf16LE("d"));
    EXPECT_EQ(form("COMR", 4, zeroed("\3EUR1\00020260101http\0\5d\0e\0a/b\0LOGO")),
        zeroed("\1EUR1\00020260101http\0\5") + desc + second + zeroed("a/b\0LOGO"));
    EXPECT_EQ(form("SYLT", 4, zeroed("\3eng\2\1d\0d\0\0\0\0\1e\0\0\0\0\2")),
        "\1eng\2\1" + desc + desc + zeroed("\0\0\0\1") + second + zeroed("\0\0\0\2"));
    EXPECT_EQ(form("GRP1", 4, "\3d"), "\1" + MarkLE + utf16LE("d"));
}

TEST(V23Body, WhatEndsTooEarlyComesBackAsItIs)
{
    for (auto [id, content] :
        { std::pair { "APIC", "\3image/png" }, { "USER", "\3en" }, { "OWNE", "\3EUR1" }, { "SYLT", "\3eng\2" } })
        EXPECT_EQ(form(id, 4, content), content) << id;
}

TEST(SplitApic, FindsTheData)
{
    std::string plain = zeroed("\0image/png\0\3cover\0DATA");
    auto parts = splitApic(bytesOf(plain));
    ASSERT_TRUE(parts);
    EXPECT_EQ(charsOf(parts->mimeType), "image/png");
    EXPECT_EQ(parts->pictureType, 3);
    EXPECT_EQ(charsOf(parts->data), "DATA");
    std::string wide = zeroed("\1\0\3\xFF\xFE") + utf16LE("c") + zeroed("\0\0DATA");
    parts = splitApic(bytesOf(wide));
    ASSERT_TRUE(parts);
    EXPECT_EQ(charsOf(parts->data), "DATA");
    std::string oneZero = zeroed("\1image/png\0\3\0\x89PNG data");
    parts = splitApic(bytesOf(oneZero));
    ASSERT_TRUE(parts);
    EXPECT_EQ(charsOf(parts->data), "\x89PNG data") << "UTF-16 by its first byte only";
    EXPECT_FALSE(splitApic({}));
    EXPECT_FALSE(splitApic(bytesOf(zeroed("\0image/png\0"))));
    std::string noEnd = zeroed("\0m\0\3no terminator");
    parts = splitApic(bytesOf(noEnd));
    ASSERT_TRUE(parts);
    EXPECT_TRUE(parts->data.empty());
}

} // namespace
} // namespace mv::test
