#include "id3/FrameText.h"

#include "id3/TagReader.h"
#include "tests/support/Mp3Maker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace mv::test {
namespace {

using testing::ElementsAre;

/// The texts of a tag's frames, "-" where a frame has none.
std::vector<std::string> textsOf(int version, const std::string& frames)
{
    std::string file = id3Tag(version, frames);
    auto tags = readTags(MemorySource(bytesOf(file)));
    std::vector<std::string> texts;
    for (const TagFrame& frame : tags->prependedTags.at(0).frames())
        texts.push_back(frameText(frame).value_or("-"));
    return texts;
}

std::string titles(int version, std::initializer_list<std::string> bodies)
{
    std::string frames;
    for (const std::string& body : bodies)
        frames += id3Frame(version, version == 2 ? "TT2" : "TIT2", body);
    return frames;
}

std::string comments(int version, std::initializer_list<std::string> bodies)
{
    std::string frames;
    for (const std::string& body : bodies)
        frames += id3Frame(version, version == 2 ? "COM" : "COMM", body);
    return frames;
}

TEST(FrameText, EveryEncoding)
{
    std::string frames = titles(3,
        { "\1" + MarkLE + utf16LE("le"), "\1" + MarkBE + utf16BE("be"), "\1" + utf16LE("no mark"),
            "\2" + utf16BE("two"), "\3\xED\x95\x9C", "\7latin", zeroed("\0\xE9t\xE9 ") });
    EXPECT_THAT(
        textsOf(3, frames), ElementsAre("le", "be", "no mark", "two", "\xED\x95\x9C", "latin", "\xC3\xA9t\xC3\xA9 "));
    EXPECT_THAT(textsOf(2, titles(2, { "\1" + MarkBE + zeroed("\xD5\x5C") })), ElementsAre("\xED\x95\x9C"));
}

TEST(FrameText, EndsAtATerminator)
{
    EXPECT_THAT(
        textsOf(
            3, titles(3, { zeroed("\0cut\0here"), "\1" + MarkLE + utf16LE(zeroed("cut\0here")), zeroed("\3cut\0h") })),
        ElementsAre("cut", "cut", "cut"));
}

TEST(FrameText, OneWithoutTextHasNone)
{
    EXPECT_THAT(textsOf(3, titles(3, { "", zeroed("\0"), "\1" + MarkLE, zeroed("\0\0\0"), "\3", zeroed("\1\0") })),
        ElementsAre("-", "-", "-", "-", "-", "-"));
    EXPECT_THAT(
        textsOf(3, comments(3, { zeroed("\0en"), zeroed("\0eng"), zeroed("\0engwhat"), zeroed("\0engwhat\0") })),
        ElementsAre("-", "-", "-", "-"));
}

TEST(FrameText, HalfACharacterIsNoText)
{
    EXPECT_THAT(
        textsOf(3, titles(3, { "\1" + MarkLE + zeroed("\0\xD8"), "\2" + zeroed("\xDC\0\0a") })), ElementsAre("-", "-"));
}

TEST(FrameText, OfACommentWhatIsBehindItsDescription)
{
    EXPECT_THAT(
        textsOf(3,
            comments(3,
                { zeroed("\0engwhat\0text"), "\1eng" + MarkLE + utf16LE(zeroed("what\0")) + MarkLE + utf16LE("text"),
                    zeroed("\3eng\0\xED\x95\x9C\0rest") })),
        ElementsAre("text", "text", "\xED\x95\x9C"));
}

TEST(FrameText, ValuesOfV24AreJoined)
{
    EXPECT_THAT(
        textsOf(4, titles(4, { zeroed("\3one\0two"), zeroed("\0one\0\0two\0") })), ElementsAre("one/two", "one/two"));
    EXPECT_THAT(textsOf(4,
                    id3Frame(4, "TCON",
                        zeroed("\3Mine\0"
                               "17"))),
        ElementsAre("(17)Mine"));
}

TEST(Utf8FromLegacy, KoreanFirst)
{
    EXPECT_EQ(utf8FromLegacy(bytesOf("\xC7\xD1\xB1\xB9")), "\xED\x95\x9C\xEA\xB5\xAD");
    EXPECT_EQ(utf8FromLegacy(bytesOf("caf\xE9")), "caf\xC3\xA9") << "not Korean: Latin-1";
    EXPECT_EQ(utf8FromLegacy({}), "");
}

} // namespace
} // namespace mv::test
