#include "id3/CleanTag.h"

#include "id3/FrameText.h"
#include "tests/support/Mp3Maker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <id3/tag.h>
#include <memory>

namespace mv::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A file through the reader, the clean tag and id3lib: "ID text" of every frame.
class Linked {
public:
    explicit Linked(std::string file)
        : m_file(std::move(file))
        , m_source(bytesOf(m_file))
        , m_tags(std::move(*readTags(m_source)))
        , m_clean(CleanTag::ofId3v2(m_tags))
    {
        result = m_clean.link(m_tag);
        if (result == 0) {
            m_clean = CleanTag::ofOtherTags(m_tags, m_source);
            otherResult = m_clean.link(m_tag);
        }
        readFrames();
    }

    std::size_t result = 0;
    std::size_t otherResult = 0;
    std::vector<std::string> frames;
    std::vector<std::string> pictures;

private:
    void readFrames()
    {
        std::unique_ptr<ID3_Tag::Iterator, void (*)(ID3_Tag::Iterator*)> iterator(
            m_tag.CreateIterator(), [](ID3_Tag::Iterator* it) { ::operator delete(it); });
        while (const ID3_Frame* frame = iterator->GetNext()) {
            frames.push_back(frame->GetTextID() + (" " + frameText(*frame).value_or("-")));
            if (const ID3_Field* data = frame->GetField(ID3FN_DATA))
                pictures.emplace_back(charsOf(m_clean.pictureFor({ data->GetRawBinary(), data->Size() })));
        }
    }

    std::string m_file;
    MemorySource m_source;
    TagSet m_tags;
    CleanTag m_clean;
    ID3_Tag m_tag;
};

const std::string Audio = mpegFrames(3);

std::string file3(const std::string& frames) { return id3Tag(3, frames) + Audio; }
std::string text(const std::string& content) { return '\0' + content; }

TEST(CleanTag, OnlyTheFramesThatDescribeASong)
{
    Linked linked(file3(id3Frame(3, "TIT2", text("t")) + id3Frame(3, "PRIV", "secret") + id3Frame(3, "TPE2", text("x"))
        + id3Frame(3, "TPE1", text("a")) + id3Frame(3, "TALB", text("b")) + id3Frame(3, "TCOM", text("c"))
        + id3Frame(3, "TCON", text("(17)")) + id3Frame(3, "TRCK", text("3/9")) + id3Frame(3, "TYER", text("1999"))
        + id3Frame(3, "COMM", zeroed("\0engdesc\0comment")) + id3Frame(3, "SYLT", zeroed("\0eng\2\1\0"))
        + id3Frame(3, "USLT", zeroed("\0eng\0words")) + id3Frame(3, "CDM ", "x") + id3Frame(3, "IPLS", "x")));
    EXPECT_THAT(linked.frames,
        ElementsAre(
            "TIT2 t", "TPE1 a", "TALB b", "TCOM c", "TCON (17)", "TRCK 3/9", "TYER 1999", "COMM comment", "SYLT -"));
}

TEST(CleanTag, AnswersLikeLink)
{
    EXPECT_EQ(Linked(Audio).result, 0u);
    std::string tag = id3Tag(3, id3Frame(3, "TIT2", text("t")), 0, 100);
    EXPECT_EQ(Linked(tag + Audio).result, tag.size());
    EXPECT_EQ(Linked(id3Tag(3, "") + Audio).result, 10u) << "a tag without frames is a tag";
    EXPECT_EQ(Linked(id3Tag(5, "abc") + Audio).result, 13u) << "one of an unknown version, too";
    std::string appended = id3TagWithFooter(id3Frame(4, "TIT2", text("t")));
    EXPECT_EQ(Linked(Audio + appended).result, appended.size());
    EXPECT_EQ(Linked(Audio + id3v1Tag({})).otherResult, 128u);
}

TEST(CleanTag, TextOfEveryEncoding)
{
    Linked linked(
        file3(id3Frame(3, "TIT2", "\1" + MarkLE + utf16LE("le")) + id3Frame(3, "TIT2", "\1" + MarkBE + utf16BE("be"))
            + id3Frame(3, "TIT2", "\1" + utf16LE("no mark")) + id3Frame(3, "TIT2", "\2" + utf16BE("two"))
            + id3Frame(3, "TIT2", "\3\xED\x95\x9C") + id3Frame(3, "TIT2", "\7latin")
            + id3Frame(3, "TIT2", text("\xE9t\xE9 ")) + id3Frame(3, "TIT2", zeroed("\0cut\0here"))
            + id3Frame(3, "TIT2", "\1" + MarkLE + utf16LE(zeroed("cut\0here")))));
    EXPECT_THAT(linked.frames,
        ElementsAre("TIT2 le", "TIT2 be", "TIT2 no mark", "TIT2 two", "TIT2 \xED\x95\x9C", "TIT2 latin",
            "TIT2 \xC3\xA9t\xC3\xA9 ", "TIT2 cut", "TIT2 cut"));
}

TEST(CleanTag, FramesWithoutTextHaveNone)
{
    Linked linked(file3(id3Frame(3, "TIT2", text("")) + id3Frame(3, "TIT2", "\1" + MarkLE)
        + id3Frame(3, "TIT2", zeroed("\0\0\0")) + id3Frame(3, "TALB", "") + id3Frame(3, "COMM", zeroed("\0en"))));
    EXPECT_THAT(linked.frames, ElementsAre("TIT2 -", "TIT2 -", "TIT2 -"));
}

TEST(CleanTag, TimedLyricsCountWhateverTheyHold)
{
    EXPECT_THAT(Linked(file3(id3Frame(3, "SYLT", ""))).frames, ElementsAre("SYLT -"));
    EXPECT_THAT(Linked(file3(id3Frame(3, "SYLT", "secret", 0x40))).frames, ElementsAre("SYLT -")) << "encrypted";
    EXPECT_THAT(Linked(id3Tag(2, id3Frame(2, "SLT", "")) + Audio).frames, ElementsAre("SYLT -"));
}

TEST(CleanTag, TheTimestampOfV24CountsThereOnly)
{
    std::string frames = id3Frame(3, "TYER", text("1999")) + id3Frame(3, "TDRC", text("2005"));
    EXPECT_THAT(Linked(file3(frames)).frames, ElementsAre("TYER 1999"));
    EXPECT_THAT(Linked(id3Tag(4, frames) + Audio).frames, ElementsAre("TYER 1999", "TYER 2005"));
}

TEST(CleanTag, FramesBehindAnOddNameCount)
{
    EXPECT_THAT(Linked(file3(id3Frame(3, "Date", text("2005")) + id3Frame(3, "TIT2", text("t")))).frames,
        ElementsAre("TIT2 t"));
}

TEST(CleanTag, TagsInARowAddUpAndAnAppendedOneCountsAlone)
{
    std::string one = id3Tag(3, id3Frame(3, "TIT2", text("one")));
    std::string two = id3Tag(4, id3Frame(4, "TIT2", text("two")));
    std::string end = id3TagWithFooter(id3Frame(4, "TIT2", text("end")));
    EXPECT_THAT(Linked(one + two + Audio).frames, ElementsAre("TIT2 one", "TIT2 two"));
    EXPECT_THAT(Linked(one + Audio + end).frames, ElementsAre("TIT2 one"));
    EXPECT_THAT(Linked(Audio + end).frames, ElementsAre("TIT2 end"));
}

TEST(CleanTag, PicturesComeBackWhole)
{
    std::string data = zeroed("\xFF\xD8\0\1 picture ") + std::string(300'000, 'p');
    Linked linked(file3(id3Frame(3, "APIC", zeroed("\0image/jpeg\0\3cover\0") + data)
        + id3Frame(3, "APIC", zeroed("\1image/png\0\3\xFF\xFE") + utf16LE("c") + zeroed("\0\0") + "second")
        + id3Frame(3, "APIC", zeroed("\0image/png\0")) + id3Frame(3, "APIC", zeroed("\0image/png\0\3d\0"))));
    ASSERT_EQ(linked.pictures.size(), 3u);
    EXPECT_EQ(linked.pictures[0], data);
    EXPECT_EQ(linked.pictures[1], "second");
    EXPECT_EQ(linked.pictures[2], "");
    EXPECT_THAT(Linked(id3Tag(2, id3Frame(2, "PIC", zeroed("\0PNG\3\0DATA"))) + Audio).pictures, ElementsAre("DATA"));
}

TEST(CleanTag, ForgedStandInsAreNoPictures)
{
    TagSet none;
    CleanTag clean = CleanTag::ofId3v2(none);
    EXPECT_TRUE(clean.pictureFor(bytesOf(zeroed("\0\0\0\1"))).empty());
    EXPECT_TRUE(clean.pictureFor(bytesOf(zeroed("\0\0\0\0"))).empty());
    EXPECT_TRUE(clean.pictureFor(bytesOf("abc")).empty());
}

TEST(CleanTag, Id3v1)
{
    Linked linked(Audio + id3v1Tag({ "Title", "Artist", "Album", "1999", "Comment", 7, 17 }));
    EXPECT_EQ(linked.result, 0u);
    EXPECT_THAT(linked.frames,
        ElementsAre("TIT2 Title", "TPE1 Artist", "TALB Album", "TYER 1999", "COMM Comment", "TRCK 7", "TCON (17)"));
    EXPECT_THAT(Linked(Audio + id3v1Tag({})).frames, IsEmpty());
}

TEST(CleanTag, Lyrics3TextsGoBeforeId3v1s)
{
    auto block = [](const std::string& indications) {
        std::string fields = "LYRICSBEGIN"
                             "IND00003"
            + indications
            + "ETT00010Long title"
              "EAR00010LongArtist"
              "EAL00009LongAlbum"
              "INF00004info"
              "LYR00012[00:01]words";
        char digits[8];
        std::snprintf(digits, sizeof digits, "%06zu", fields.size());
        return fields + digits + "LYRICS200" + id3v1Tag({ .title = "Short", .comment = "v1" });
    };
    EXPECT_THAT(Linked(Audio + block("110")).frames,
        ElementsAre("TIT2 Long title", "TPE1 LongArtist", "TALB LongAlbum", "COMM info", "SYLT -", "COMM v1"));
    EXPECT_THAT(Linked(Audio + block("100")).frames,
        ElementsAre("TIT2 Long title", "TPE1 LongArtist", "TALB LongAlbum", "COMM info", "COMM v1"));
}

TEST(CleanTag, IsBounded)
{
    std::string frames;
    for (int i = 0; i < 6; ++i)
        frames += id3Frame(3, "TIT2", text(std::string(4'000'000, 'x')));
    std::string file = id3Tag(3, frames) + Audio;
    MemorySource source(bytesOf(file));
    auto tags = readTags(source);
    EXPECT_LE(CleanTag::ofId3v2(*tags).bytes().size(), CleanTag::MaximumSize);
}

TEST(ID3_GetString, HandsOutTheTextAsStored)
{
    ID3_Frame frame(ID3FID_TITLE);
    ID3_TextEnc encoding = ID3TE_UTF8;
    int length = -1;
    EXPECT_EQ(ID3_GetString(&frame, ID3FN_TEXT, encoding, length), nullptr);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(ID3_GetString(&frame, ID3FN_DATA, encoding, length), nullptr) << "no such field";
    EXPECT_EQ(ID3_GetString(nullptr, ID3FN_TEXT, encoding, length), nullptr);

    frame.GetField(ID3FN_TEXT)->Set("abc");
    std::unique_ptr<char[]> text(ID3_GetString(&frame, ID3FN_TEXT, encoding, length));
    ASSERT_TRUE(text);
    EXPECT_EQ(encoding, ID3TE_ISO8859_1);
    EXPECT_EQ(length, 3);
    EXPECT_STREQ(text.get(), "abc");
}

TEST(ID3_GetString, Utf16IsLittleEndian)
{
    ID3_Frame frame(ID3FID_TITLE);
    frame.GetField(ID3FN_TEXTENC)->Set(ID3TE_UTF16);
    frame.GetField(ID3FN_TEXT)->SetEncoding(ID3TE_UTF16);
    const std::uint8_t bigEndianHan[] = { 0xD5, 0x5C, 0, 'a', 0, 0 };
    unicode_t units[3];
    std::memcpy(units, bigEndianHan, sizeof units);
    frame.GetField(ID3FN_TEXT)->Set(units);
    ID3_TextEnc encoding = ID3TE_UTF8;
    int length = 0;
    std::unique_ptr<char[]> text(ID3_GetString(&frame, ID3FN_TEXT, encoding, length));
    ASSERT_TRUE(text);
    EXPECT_EQ(encoding, ID3TE_UTF16);
    EXPECT_EQ(std::string(text.get(), static_cast<std::size_t>(length)), zeroed("\x5C\xD5\x61\0"));
}

TEST(DecodedFrameText, ByEncoding)
{
    EXPECT_EQ(decodedFrameText(ID3TE_UTF16, bytesOf("\x5C\xD5\x6D\xAD")), "\xED\x95\x9C\xEA\xB5\xAD");
    EXPECT_EQ(decodedFrameText(ID3TE_UTF16BE, bytesOf("\xD5\x5C\xAD\x6D")), "\xED\x95\x9C\xEA\xB5\xAD");
    EXPECT_EQ(decodedFrameText(ID3TE_ISO8859_1, bytesOf("\xC7\xD1\xB1\xB9")), "\xED\x95\x9C\xEA\xB5\xAD") << "Korean";
    EXPECT_EQ(decodedFrameText(ID3TE_ISO8859_1, bytesOf("caf\xE9")), "caf\xC3\xA9") << "not Korean: Latin-1";
    EXPECT_EQ(decodedFrameText(ID3TE_UTF8, bytesOf(zeroed("\xED\x95\x9C\0rest"))), "\xED\x95\x9C");
    EXPECT_EQ(decodedFrameText(ID3TE_UTF8, bytesOf("a\xFF")), "a\xEF\xBF\xBD");
    EXPECT_EQ(decodedFrameText(static_cast<ID3_TextEnc>(9), bytesOf("abc")), "abc");
    EXPECT_FALSE(decodedFrameText(ID3TE_UTF16, bytesOf(zeroed("\0\xD8")))) << "half a pair";
    EXPECT_FALSE(decodedFrameText(ID3TE_UTF16BE, bytesOf(zeroed("\xDC\0a\0"))));
}

} // namespace
} // namespace mv::test
