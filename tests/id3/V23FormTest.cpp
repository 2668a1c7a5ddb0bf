#include "id3/V23Form.h"

#include "tests/support/Mp3Maker.h"

#include <gtest/gtest.h>

namespace mv::test {
namespace {

std::string form(std::string_view storedId, int version, const std::string& content)
{
    std::string id = v23FrameId(storedId, version);
    auto body = v23Body(id, storedId, version, bytesOf(content));
    return body ? std::string(charsOf(*body)) : content;
}

std::string latin1Text(const std::string& text) { return '\0' + text; }
/// With a letter that is not ASCII in front.
std::string utf16Text(std::string_view ascii) { return zeroed("\1\xFF\xFE\xE9\0") + utf16LE(ascii); }

TEST(V23FrameId, NamesOfOtherVersions)
{
    EXPECT_EQ(v23FrameId("TT2", 4), "TIT2");
    EXPECT_EQ(v23FrameId("PIC", 4), "APIC");
    EXPECT_EQ(v23FrameId("TDRC", 4), "TYER");
    EXPECT_EQ(v23FrameId("TYE", 4), "TYER");
    EXPECT_EQ(v23FrameId("TID", 4), "TGID");
    EXPECT_EQ(v23FrameId("WFD", 4), "WFED");
    EXPECT_EQ(v23FrameId("GP1", 4), "GRP1");
    EXPECT_EQ(v23FrameId("TIPL", 4), "IPLS");
    EXPECT_EQ(v23FrameId("TIT2", 4), "TIT2");
    EXPECT_EQ(v23FrameId("RVA", 2), "RVAD");
    EXPECT_EQ(v23FrameId("EQU", 2), "EQUA");
    EXPECT_EQ(v23FrameId("CRM", 2), "CRM") << "encrypted frames that hold frames are v2.2's alone";
    EXPECT_EQ(v23FrameId("XYZ", 4), "XYZ");
    EXPECT_EQ(v23FrameId("ABCD", 4), "ABCD");
}

TEST(V23FrameId, NamesOfV24MeanNothingElsewhere)
{
    for (std::string_view name : { "TDRC", "TDOR", "TIPL", "TMCL" })
        EXPECT_EQ(v23FrameId(name, 3), name);
}

TEST(V23Body, WhatV23AllowsStays)
{
    for (const std::string& content : { zeroed("\0text"), zeroed("\1\xFF\xFE") + utf16LE("a"),
             zeroed("\1\xFE\xFF") + utf16BE("a"), zeroed("\0one\0two"), std::string() })
        EXPECT_EQ(form("TIT2", 3, content), content);
    EXPECT_EQ(form("APIC", 3, zeroed("\1image/png\0\3\xFF\xFE\0\0data")), zeroed("\1image/png\0\3\xFF\xFE\0\0data"));
    EXPECT_EQ(form("PRIV", 4, zeroed("\3whatever")), zeroed("\3whatever"));
    for (const std::string& feed : { std::string("http://f"), zeroed("\0http://f"), std::string("\3http://f") })
        EXPECT_EQ(form("WFED", 4, feed), feed);
}

TEST(V23Body, TextOfLaterEncodings)
{
    EXPECT_EQ(form("TIT2", 4, "\3\xC3\xA9x"), utf16Text("x"));
    EXPECT_EQ(form("TIT2", 4, zeroed("\3\xC3\xA9x\0")), utf16Text("x"));
    EXPECT_EQ(form("TIT2", 4, zeroed("\2\0\xE9") + utf16BE("x")), utf16Text("x"));
    EXPECT_EQ(form("TIT2", 4, zeroed("\2\xFE\xFF\0\xE9") + utf16BE("x")), utf16Text("x"));
    EXPECT_EQ(form("TIT2", 3, "\3\xC3\xA9x"), utf16Text("x")) << "not allowed there, but written";
    EXPECT_EQ(form("TIT2", 4, "\3\xF0\x9F\x98\x80"), zeroed("\1\xFF\xFE\x3D\xD8\0\xDE")) << "U+1F600";
    EXPECT_EQ(form("TIT2", 4, "\3\xEF\xBB\xBF\xC3\xA9x"), utf16Text("x")) << "with a mark of its own";
    EXPECT_EQ(form("TIT2", 4, "\3\xE9t\xE9"), zeroed("\1\xFF\xFE\xE9\0t\0\xE9\0")) << "labelled UTF-8, but Latin-1";
}

TEST(V23Body, AsciiTextNeedsNoOtherEncodingThanLatin1)
{
    EXPECT_EQ(form("TGID", 4, "\3id-12"), latin1Text("id-12"));
    EXPECT_EQ(form("TIT2", 4, zeroed("\2") + utf16BE("abc")), latin1Text("abc"));
    EXPECT_EQ(form("TIT2", 4, "\1" + MarkLE + utf16LE("abc")), latin1Text("abc"));
    EXPECT_EQ(form("TIT2", 4, "\3"), latin1Text(""));
    EXPECT_EQ(form("COMM", 4, zeroed("\3engd\0text")), zeroed("\0engd\0text"));
    EXPECT_EQ(form("WXXX", 4, zeroed("\3d\0http")), zeroed("\0d\0http"));
    EXPECT_EQ(form("TIPL", 4, zeroed("\3mix\0Ann\0")), zeroed("\0mix\0Ann\0"));
    EXPECT_EQ(form("COMM", 4, zeroed("\3eng\0\xC3\xA9")), zeroed("\1eng\xFF\xFE\0\0\xFF\xFE\xE9\0"))
        << "one encoding for both strings";
}

TEST(V23Body, Utf16WithoutAMark)
{
    EXPECT_EQ(form("TIT2", 3, zeroed("\1\xE9\0") + utf16LE("Song")), utf16Text("Song"));
    EXPECT_EQ(form("TIT2", 3, zeroed("\1\0\xE9") + utf16BE("Song")), utf16Text("Song"));
    // Korean has no zero bytes to tell by: little-endian.
    EXPECT_EQ(form("TIT2", 3, "\1\x5C\xD5\x6D\xAD"), "\1\xFF\xFE\x5C\xD5\x6D\xAD");
}

TEST(V23Body, SeveralValuesOfV24)
{
    std::string joined = utf16Text("/Two");
    EXPECT_EQ(form("TPE1", 4, zeroed("\3\xC3\xA9\0Two\0")), joined);
    EXPECT_EQ(form("TPE1", 4, zeroed("\0One\0Two")), latin1Text("One/Two"));
    EXPECT_EQ(form("TPE1", 4, zeroed("\2\0\xE9\0\0") + utf16BE("Two")), joined);
    std::string first = zeroed("\xE9\0\0\0");
    EXPECT_EQ(form("TPE1", 4, "\1" + MarkLE + first + MarkLE + utf16LE("Two")), joined);
    EXPECT_EQ(form("TPE1", 4, "\1" + MarkLE + first + utf16LE("Two")), joined) << "the mark only once";
    EXPECT_EQ(form("TPE1", 4, "\1" + MarkBE + zeroed("\0\xE9\0\0") + utf16BE("Two")), joined);
    // CP949 bytes of a mislabelled text survive.
    EXPECT_EQ(form("TPE1", 4, zeroed("\0\xB0\xA1\0\xB3\xAA")), zeroed("\0\xB0\xA1/\xB3\xAA"));
}

TEST(V23Body, SeveralValuesBehindADescription)
{
    EXPECT_EQ(form("TXXX", 4, zeroed("\3mood\0calm\0sad")), zeroed("\0mood\0calm/sad"));
    EXPECT_EQ(form("TXXX", 4, zeroed("\0mood\0\xB0\xA1\0sad\0")), zeroed("\0mood\0\xB0\xA1/sad"));
    std::string mood = MarkLE + utf16LE("mood") + zeroed("\0\0");
    std::string sad = MarkLE + zeroed("\xE9\0") + utf16LE("/sad");
    EXPECT_EQ(
        form("TXXX", 4, "\1" + mood + MarkLE + zeroed("\xE9\0\0\0") + MarkLE + utf16LE("sad")), "\1" + mood + sad);
    EXPECT_EQ(form("TXXX", 4, "\1" + mood + zeroed("\xE9\0\0\0") + utf16LE("sad")), "\1" + mood + sad)
        << "the mark before the description only";
    EXPECT_EQ(form("TXXX", 4, "\2" + utf16BE("mood") + zeroed("\0\0\0\xE9\0\0") + utf16BE("sad")), "\1" + mood + sad);
    EXPECT_EQ(form("TXXX", 4, zeroed("\3mood\0\xC3\xA9\0sad")), "\1" + mood + sad);
    EXPECT_EQ(form("COMM", 4, zeroed("\3engd\0one\0two")), zeroed("\0engd\0one/two"));
    EXPECT_EQ(form("COMM", 4, zeroed("\0engd\0one\0two")), zeroed("\0engd\0one/two"));
    // Nothing to join, nothing to write anew.
    for (const std::string& content : { zeroed("\0mood\0calm"), zeroed("\0mood\0calm\0"), zeroed("\0mood") })
        EXPECT_EQ(form("TXXX", 4, content), content);
    EXPECT_EQ(form("TXXX", 3, zeroed("\0mood\0calm\0sad")), zeroed("\0mood\0calm\0sad")) << "v2.3 has one value";
}

TEST(V23Body, GenresOfV24)
{
    EXPECT_EQ(form("TCON", 4,
                  zeroed("\0"
                         "17")),
        latin1Text("(17)"));
    EXPECT_EQ(form("TCON", 4,
                  zeroed("\3"
                         "17\0"
                         "18")),
        latin1Text("(17)(18)"));
    EXPECT_EQ(form("TCON", 4,
                  zeroed("\3"
                         "17\0Mine\0(4)\0Yours")),
        latin1Text("(17)(4)Mine/Yours"))
        << "numbers stand before names";
    EXPECT_EQ(form("TCON", 4, zeroed("\3Mine\0Yours")), latin1Text("Mine/Yours"));
    EXPECT_EQ(form("TCON", 4, "\3(17)Mine"), latin1Text("(17)Mine"));
    EXPECT_EQ(form("TCON", 4,
                  zeroed("\3"
                         "1980")),
        latin1Text("1980"))
        << "no genre number";
    EXPECT_EQ(form("TCON", 4, zeroed("\3RX")), latin1Text("RX"));
    EXPECT_EQ(form("TCON", 4, zeroed("\3(17)")), latin1Text("(17)"));
    EXPECT_EQ(form("TCON", 3,
                  zeroed("\0"
                         "17")),
        latin1Text("17"))
        << "v2.3 has no bare numbers";
    EXPECT_EQ(form("TIT2", 4,
                  zeroed("\0"
                         "17")),
        latin1Text("17"));
}

TEST(V23Body, TheYearOfATimestamp)
{
    EXPECT_EQ(form("TDRC", 4,
                  zeroed("\3"
                         "2004-05-06T12:00")),
        latin1Text("2004"));
    EXPECT_EQ(form("TDOR", 4,
                  zeroed("\0"
                         "2004")),
        latin1Text("2004"));
    EXPECT_EQ(form("TDRC", 3,
                  zeroed("\0"
                         "2004-05")),
        latin1Text("2004-05"))
        << "no frame of v2.3";
    EXPECT_EQ(form("TDRC", 4, zeroed("\0Oct 3rd")), zeroed("\0Oct 3rd")) << "no time stamp: kept whole";
    EXPECT_EQ(form("TYER", 4,
                  zeroed("\0"
                         "2004x")),
        latin1Text("2004x"));
}

TEST(V23Body, CommentsAndLyrics)
{
    std::string desc = zeroed("\xFF\xFE") + utf16LE("d") + zeroed("\0\0");
    EXPECT_EQ(form("COMM", 4, zeroed("\3engd\0\xC3\xA9")), "\1eng" + desc + MarkLE + zeroed("\xE9\0"));
    EXPECT_EQ(form("COMM", 3, zeroed("\0engd\0text")), zeroed("\0engd\0text"));
    EXPECT_EQ(form("USLT", 3, "\1eng" + desc + zeroed("\xE9\0")), "\1eng" + desc + MarkLE + zeroed("\xE9\0"));
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

TEST(V23Body, LinksOfV22NameFramesOfV23)
{
    EXPECT_EQ(form("LNK", 2, zeroed("TT2http://x\0more")), zeroed("TIT2http://x\0more"));
    EXPECT_EQ(form("LNK", 2, zeroed("XYZhttp://x\0")), "") << "no such frame in v2.3";
    EXPECT_EQ(form("LNK", 2, "TT"), "");
}

TEST(V23Body, DescriptionsOfV24)
{
    // The letter that no ASCII reader knows makes the description UTF-16.
    const std::string stored = "\xC3\xA9";
    std::string desc = MarkLE + zeroed("\xE9\0\0\0");
    EXPECT_EQ(form("APIC", 4, zeroed("\3image/png\0\3") + stored + zeroed("\0DATA")),
        zeroed("\1image/png\0\3") + desc + "DATA");
    EXPECT_EQ(form("APIC", 4, zeroed("\3image/png\0\3d\0\xFF\xD8")), zeroed("\0image/png\0\3d\0\xFF\xD8"));
    EXPECT_EQ(form("TXXX", 4, "\3" + stored + zeroed("\0v")), "\1" + desc + MarkLE + utf16LE("v"));
    EXPECT_EQ(form("WXXX", 4, "\3" + stored + zeroed("\0http")), "\1" + desc + "http");
    EXPECT_EQ(form("GEOB", 4, zeroed("\3a/b\0f\0") + stored + zeroed("\0DATA")),
        zeroed("\1a/b\0") + MarkLE + utf16LE("f") + zeroed("\0\0") + desc + "DATA");
    std::string second = MarkLE + utf16LE("e") + zeroed("\0\0");
    EXPECT_EQ(form("TIPL", 4, "\3" + stored + zeroed("\0e")), "\1" + desc + second);
    EXPECT_EQ(form("USER", 4, "\3eng" + stored), "\1eng" + MarkLE + zeroed("\xE9\0"));
    EXPECT_EQ(form("OWNE", 4, zeroed("\3EUR1\00020260101") + stored),
        zeroed("\1EUR1\00020260101") + MarkLE + zeroed("\xE9\0"));
    EXPECT_EQ(form("COMR", 4, zeroed("\3EUR1\00020260101http\0\5") + stored + zeroed("\0e\0a/b\0LOGO")),
        zeroed("\1EUR1\00020260101http\0\5") + desc + second + zeroed("a/b\0LOGO"));
    EXPECT_EQ(form("SYLT", 4, "\3eng\2\1" + stored + zeroed("\0") + stored + zeroed("\0\0\0\0\1e\0\0\0\0\2")),
        "\1eng\2\1" + desc + desc + zeroed("\0\0\0\1") + second + zeroed("\0\0\0\2"));
    EXPECT_EQ(form("GRP1", 4, "\3" + stored), "\1" + MarkLE + zeroed("\xE9\0"));
}

TEST(V23Body, WhatEndsTooEarlyComesBackAsItIs)
{
    for (auto [id, content] :
        { std::pair { "APIC", "\3image/png" }, { "USER", "\3en" }, { "OWNE", "\3EUR1" }, { "SYLT", "\3eng\2" } })
        EXPECT_EQ(form(id, 4, content), content) << id;
}

TEST(SplitPicture, FindsTheData)
{
    std::string plain = zeroed("\0image/png\0\3cover\0DATA");
    auto parts = splitPicture("APIC", bytesOf(plain));
    ASSERT_TRUE(parts);
    EXPECT_EQ(charsOf(parts->mimeType), "image/png");
    EXPECT_EQ(parts->pictureType, 3);
    EXPECT_EQ(charsOf(parts->data), "DATA");
    std::string wide = zeroed("\1\0\3\xFF\xFE") + utf16LE("c") + zeroed("\0\0DATA");
    parts = splitPicture("APIC", bytesOf(wide));
    ASSERT_TRUE(parts);
    EXPECT_EQ(charsOf(parts->data), "DATA");
    std::string oneZero = zeroed("\1image/png\0\3\0\x89PNG data");
    parts = splitPicture("APIC", bytesOf(oneZero));
    ASSERT_TRUE(parts);
    EXPECT_EQ(charsOf(parts->data), "\x89PNG data") << "UTF-16 by its first byte only";
    EXPECT_FALSE(splitPicture("APIC", {}));
    EXPECT_FALSE(splitPicture("APIC", bytesOf(zeroed("\0image/png\0"))));
    std::string noEnd = zeroed("\0m\0\3no terminator");
    parts = splitPicture("APIC", bytesOf(noEnd));
    ASSERT_TRUE(parts);
    EXPECT_TRUE(parts->data.empty());
    std::string ofV22 = zeroed("\0PNG\3cover\0DATA");
    parts = splitPicture("PIC", bytesOf(ofV22));
    ASSERT_TRUE(parts);
    EXPECT_EQ(charsOf(parts->mimeType), "PNG");
    EXPECT_EQ(charsOf(parts->data), "DATA");
    EXPECT_FALSE(splitPicture("PIC", bytesOf(zeroed("\0PN"))));
}

} // namespace
} // namespace mv::test
