#include "id3/Id3v2Tag.h"

#include "Base/Core/Text.h"
#include "id3/TagReader.h"
#include "tests/support/Mp3Maker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace mv::test {
namespace {

using testing::ElementsAre;

constexpr std::size_t UnpackLimit = 1 << 20;

Id3v2Tag parsed(const std::string& bytes, std::size_t unpackLimit = UnpackLimit)
{
    auto header = Id3v2Tag::parseHeader(bytesOf(bytes));
    EXPECT_TRUE(header);
    ByteView body = bytesOf(bytes).subspan(Id3v2Tag::HeaderSize);
    body = body.first(std::min<std::size_t>(body.size(), header->bodySize));
    return Id3v2Tag::parse(*header, 0, bytes.size(), Bytes(body.begin(), body.end()), unpackLimit);
}

std::vector<std::string> idsOf(const Id3v2Tag& tag)
{
    std::vector<std::string> ids;
    for (const TagFrame& frame : tag.frames())
        ids.push_back(frame.id);
    return ids;
}

std::string bodyOf(const Id3v2Tag& tag, std::size_t index = 0)
{
    return index < tag.frames().size() ? std::string(charsOf(tag.frames()[index].body)) : "(no such frame)";
}

TEST(Id3v2TagHeader, NeedsItsMarkASaneVersionAndASyncsafeSize)
{
    std::string good = zeroed("ID3\3\0\0\0\0\1\2");
    auto header = Id3v2Tag::parseHeader(bytesOf(good));
    ASSERT_TRUE(header);
    EXPECT_EQ(header->majorVersion, 3);
    EXPECT_EQ(header->bodySize, 130u);
    EXPECT_EQ(header->totalSize(), 140u);
    for (const std::string& bad : { zeroed("IDD\3\0\0\0\0\1\2"), zeroed("ID3\xFF\0\0\0\0\1\2"),
             zeroed("ID3\3\xFF\0\0\0\1\2"), zeroed("ID3\3\0\0\0\0\x80\2"), zeroed("ID3\3\0\0\0\0\1") })
        EXPECT_FALSE(Id3v2Tag::parseHeader(bytesOf(bad)));
}

TEST(Id3v2TagHeader, FooterCounts)
{
    auto header = Id3v2Tag::parseHeader(bytesOf(zeroed("ID3\4\0\x10\0\0\0\5")));
    ASSERT_TRUE(header);
    EXPECT_EQ(header->totalSize(), 25u);
    EXPECT_TRUE(Id3v2Tag::parseFooter(bytesOf(zeroed("3DI\4\0\x10\0\0\0\5"))));
    EXPECT_FALSE(Id3v2Tag::parseFooter(bytesOf(zeroed("ID3\4\0\x10\0\0\0\5"))));
}

TEST(Id3v2Tag, FramesOfEachVersion)
{
    for (int version : { 2, 3, 4 }) {
        std::string title = version == 2 ? "TT2" : "TIT2";
        std::string unknown = version == 2 ? "XYZ" : "XYZW";
        auto tag = parsed(
            id3Tag(version, id3Frame(version, title, zeroed("\0Song")) + id3Frame(version, unknown, "what"), 0, 100));
        EXPECT_THAT(idsOf(tag), ElementsAre("TIT2", unknown)) << version;
        EXPECT_EQ(bodyOf(tag), zeroed("\0Song"));
        EXPECT_EQ(bodyOf(tag, 1), "what");
        EXPECT_EQ(tag.frames()[0].storedId, title);
        EXPECT_EQ(charsOf(tag.frames()[0].stored), id3Frame(version, title, zeroed("\0Song")));
        EXPECT_TRUE(tag.complete());
    }
}

TEST(Id3v2Tag, FramesOver127BytesOfBothSizeForms)
{
    std::string text = '\0' + std::string(300, 'x');
    std::string next = zeroed("\0next");
    auto v3 = parsed(id3Tag(3, id3Frame(3, "TIT2", text) + id3Frame(3, "TALB", next)));
    auto v4 = parsed(id3Tag(4, id3Frame(4, "TIT2", text) + id3Frame(4, "TALB", next)));
    // Programs write each version's sizes the other way.
    auto plainV4 = parsed(id3Tag(4, id3Frame(3, "TIT2", text) + id3Frame(3, "TALB", next)));
    auto safeV3 = parsed(id3Tag(3, id3Frame(4, "TIT2", text) + id3Frame(4, "TALB", next)));
    for (const Id3v2Tag* tag : { &v3, &v4, &plainV4, &safeV3 }) {
        ASSERT_THAT(idsOf(*tag), ElementsAre("TIT2", "TALB"));
        EXPECT_EQ(bodyOf(*tag), text);
        EXPECT_EQ(bodyOf(*tag, 1), next);
    }
}

TEST(Id3v2Tag, PlainSizeWithAHighByteInV24)
{
    std::string text = '\0' + std::string(200, 'x'); // 201 = C9: no syncsafe size has that byte
    auto tag = parsed(id3Tag(4, id3Frame(3, "TIT2", text)));
    EXPECT_EQ(bodyOf(tag), text);
}

TEST(Id3v2Tag, UnsynchronisedWholeTag)
{
    std::string body = zeroed("\1\xFF\xFE") + utf16LE("abc") + zeroed("\xFF\0");
    for (int version : { 2, 3 }) {
        std::string frame = id3Frame(version, version == 2 ? "TT2" : "TIT2", body);
        auto tag = parsed(id3Tag(version, unsynchronised(frame), 0x80));
        EXPECT_EQ(bodyOf(tag), body) << version;
    }
}

TEST(Id3v2Tag, AFlagThatLiesAboutUnsynchronisationIsNotBelieved)
{
    std::string body = zeroed("\1\xFF\xFE") + zeroed("\xFF\0a\0"); // U+00FF, a
    auto tag = parsed(id3Tag(3, id3Frame(3, "TIT2", body), 0x80));
    EXPECT_EQ(bodyOf(tag), body);
    auto v4 = parsed(id3Tag(4, id3Frame(4, "TIT2", body), 0x80));
    EXPECT_EQ(bodyOf(v4), body);
}

TEST(Id3v2Tag, UnsynchronisedFramesOfV24)
{
    std::string body = zeroed("\1\xFF\xFE") + zeroed("\xFF\0a\0");
    std::string stored = unsynchronised(body);
    ASSERT_NE(stored, body);
    auto byFrame = parsed(id3Tag(4, id3Frame(4, "TIT2", stored, 0x0002) + id3Frame(4, "TALB", zeroed("\0x"))));
    EXPECT_EQ(bodyOf(byFrame), body);
    EXPECT_EQ(bodyOf(byFrame, 1), zeroed("\0x"));
    auto withLength = parsed(id3Tag(4, id3Frame(4, "TIT2", syncsafe(7) + stored, 0x0003)));
    EXPECT_EQ(bodyOf(withLength), body);
    auto byTag = parsed(id3Tag(4, id3Frame(4, "TIT2", stored), 0x80));
    EXPECT_EQ(bodyOf(byTag), body);
    EXPECT_EQ(charsOf(byTag.frames()[0].stored), id3Frame(4, "TIT2", stored));
}

TEST(Id3v2Tag, CompressedAndGroupedFrames)
{
    std::string body = '\0' + std::string(500, 'z');
    std::string packed = zlibPacked(body);
    std::string group = "G";
    auto v3 = parsed(id3Tag(3,
        id3Frame(3, "TIT2", bigEndian(501) + packed, 0x0080) + id3Frame(3, "TALB", group + zeroed("\0al"), 0x0020)
            + id3Frame(3, "TPE1", bigEndian(501) + group + packed, 0x00A0)));
    EXPECT_EQ(bodyOf(v3, 0), body);
    EXPECT_EQ(bodyOf(v3, 1), zeroed("\0al"));
    EXPECT_EQ(bodyOf(v3, 2), body);
    auto v4 = parsed(id3Tag(4,
        id3Frame(4, "TIT2", syncsafe(501) + packed, 0x0009) + id3Frame(4, "TALB", group + zeroed("\0al"), 0x0040)
            + id3Frame(4, "TPE1", group + syncsafe(501) + packed, 0x0049)
            + id3Frame(4, "TCOM", syncsafe(3) + zeroed("\0co"), 0x0001)));
    EXPECT_EQ(bodyOf(v4, 0), body);
    EXPECT_EQ(bodyOf(v4, 1), zeroed("\0al"));
    EXPECT_EQ(bodyOf(v4, 2), body);
    EXPECT_EQ(bodyOf(v4, 3), zeroed("\0co"));
}

TEST(Id3v2Tag, WhatDoesNotUnpackIsNotReadableButCarried)
{
    std::string body = '\0' + std::string(500, 'z');
    std::string packed = zlibPacked(body);
    std::string frames = id3Frame(3, "TIT2", bigEndian(400) + packed, 0x0080) // larger than claimed
        + id3Frame(3, "TIT2", bigEndian(900) + packed, 0x0080) // smaller
        + id3Frame(3, "TIT2", bigEndian(0xFFFFFFF0) + packed, 0x0080) // claims 4 GiB
        + id3Frame(3, "TIT2", bigEndian(501) + "no zlib at all", 0x0080) //
        + id3Frame(3, "TIT2", "G secret", 0x0040) // encrypted
        + id3Frame(3, "TIT2", "ab", 0x0080) // too short for its length
        + id3Frame(3, "TALB", zeroed("\0ok"));
    auto tag = parsed(id3Tag(3, frames));
    ASSERT_EQ(tag.frames().size(), 7u);
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_FALSE(tag.frames()[i].readable) << i;
        EXPECT_TRUE(tag.frames()[i].body.empty()) << i;
        EXPECT_GT(tag.frames()[i].stored.size(), 10u) << i;
    }
    EXPECT_EQ(bodyOf(tag, 6), zeroed("\0ok"));
    EXPECT_TRUE(tag.complete());
}

TEST(Id3v2Tag, UnpackingStaysWithinTheLimitOfAllFramesTogether)
{
    std::string body = '\0' + std::string(600, 'z');
    std::string frame = id3Frame(3, "XXXX", bigEndian(601) + zlibPacked(body), 0x0080);
    auto tag = parsed(id3Tag(3, frame + frame), 1000);
    ASSERT_EQ(tag.frames().size(), 2u);
    EXPECT_TRUE(tag.frames()[0].readable);
    EXPECT_FALSE(tag.frames()[1].readable);
    EXPECT_EQ(tag.bytesUnpacked(), 601u);
    EXPECT_TRUE(tag.complete()) << "its bytes can be carried as they are";
}

TEST(Id3v2Tag, FramesOfV24OverTheLimitMakeTheTagIncomplete)
{
    std::string large(1000, 'x');
    EXPECT_FALSE(
        parsed(id3Tag(4, id3Frame(4, "PRIV", unsynchronised(zeroed("\xFF\0") + large), 0x02)), 900).complete());
    EXPECT_FALSE(parsed(id3Tag(4, id3Frame(4, "PRIV", "e" + large, 0x04)), 900).complete());
    EXPECT_TRUE(parsed(id3Tag(4, id3Frame(4, "PRIV", "e" + large, 0x04)), 1100).complete());
    EXPECT_TRUE(parsed(id3Tag(4, id3Frame(4, "PRIV", large)), 900).complete());
}

TEST(Id3v2Tag, ExtendedHeaders)
{
    std::string title = id3Frame(3, "TIT2", zeroed("\0Song"));
    std::string v3Small = bigEndian(6) + std::string(6, '\0');
    std::string v3WithSum = bigEndian(10) + zeroed("\x80\0\0\0\0\0\1\2\3\4");
    for (const std::string& extended : { v3Small, v3WithSum })
        EXPECT_EQ(bodyOf(parsed(id3Tag(3, extended + title, 0x40))), zeroed("\0Song"));
    std::string v4 = syncsafe(12) + zeroed("\1\x20\5\1\2\3\4\5");
    EXPECT_EQ(bodyOf(parsed(id3Tag(4, v4 + id3Frame(4, "TIT2", zeroed("\0Song")), 0x40))), zeroed("\0Song"));
    // The flag without the header.
    EXPECT_EQ(bodyOf(parsed(id3Tag(3, title, 0x40))), zeroed("\0Song"));
    // v2.4's counted as v2.3 counts.
    std::string counted = syncsafe(8) + zeroed("\1\x20\5\1\2\3\4\5");
    EXPECT_EQ(bodyOf(parsed(id3Tag(4, counted + id3Frame(4, "TIT2", zeroed("\0Song")), 0x40))), zeroed("\0Song"));
}

TEST(Id3v2Tag, ShortNamesInLaterVersions)
{
    auto tag = parsed(id3Tag(3, id3Frame(3, zeroed("TT2\0"), zeroed("\0Song")) + id3Frame(3, "TP1 ", zeroed("\0Who"))));
    EXPECT_THAT(idsOf(tag), ElementsAre("TIT2", "TPE1"));
    EXPECT_EQ(bodyOf(tag, 1), zeroed("\0Who"));
}

/// Sizes of a version, with headers of it.
std::string frameOf(int version, std::string name, const std::string& body)
{
    name.resize(version == 2 ? 3 : 4);
    return id3Frame(version, name, body);
}

TEST(Id3v2Tag, OddNamesAreSteppedOverInEveryPlace)
{
    for (int version : { 2, 3, 4 }) {
        std::string title = frameOf(version, version == 2 ? "TT2" : "TIT2", zeroed("\0Song"));
        std::string album = frameOf(version, version == 2 ? "TAL" : "TALB", '\0' + std::string(200, 'x'));
        for (std::string name : { "Date", "tit2", "T T2", "\xC0\xC1\xC2\xC3", "T-T2" }) {
            std::string odd = frameOf(version, name,
                zeroed("\0"
                       "2001"));
            std::string shown = name.substr(0, version == 2 ? 3 : 4);
            for (std::size_t padding : { 0, 300 }) {
                SCOPED_TRACE(formatText("version %d, %s, padding %zu", version, name.c_str(), padding));
                auto first = parsed(id3Tag(version, odd + title + album, 0, padding));
                EXPECT_THAT(idsOf(first), ElementsAre(shown, "TIT2", "TALB"));
                auto middle = parsed(id3Tag(version, title + odd + album, 0, padding));
                EXPECT_THAT(idsOf(middle), ElementsAre("TIT2", shown, "TALB"));
                auto last = parsed(id3Tag(version, title + album + odd, 0, padding));
                EXPECT_THAT(idsOf(last), ElementsAre("TIT2", "TALB", shown));
                auto alone = parsed(id3Tag(version, odd, 0, padding));
                EXPECT_THAT(idsOf(alone), ElementsAre(shown));
                auto many = parsed(id3Tag(version, odd + odd + odd + title + odd, 0, padding));
                EXPECT_THAT(idsOf(many), ElementsAre(shown, shown, shown, "TIT2", shown));
                for (const Id3v2Tag* tag : { &first, &middle, &last, &alone, &many })
                    EXPECT_TRUE(tag->complete());
                EXPECT_EQ(charsOf(first.frames()[0].stored), odd);
                EXPECT_EQ(bodyOf(first, 2), '\0' + std::string(200, 'x'));
            }
        }
    }
}

TEST(Id3v2Tag, AnOddNameWithASizeThatLeadsNowhereEndsTheListAndIsTold)
{
    std::string title = id3Frame(3, "TIT2", zeroed("\0Song"));
    for (std::uint32_t size : { 2U, 4U, 7U, 1000U, 0x7FFFFFFFU, 0xFFFFFFFFU }) {
        std::string odd = "Date" + bigEndian(size) + zeroed("\0\0")
            + zeroed("\0"
                     "2001");
        auto first = parsed(id3Tag(3, odd + title));
        EXPECT_TRUE(first.frames().empty()) << size;
        EXPECT_FALSE(first.complete()) << size;
        auto last = parsed(id3Tag(3, title + odd, 0, 100));
        // This one happens to lead into the padding.
        EXPECT_EQ(last.complete(), size == 7) << size;
        EXPECT_EQ(last.frames()[0].id, "TIT2");
    }
}

TEST(Id3v2Tag, SizesOfEitherFormBeforeAndOfOddFrames)
{
    std::string text = '\0' + std::string(300, 'x');
    std::string odd = id3Frame(4, "Date", text);
    auto safe = parsed(id3Tag(4, id3Frame(4, "TIT2", text) + odd + id3Frame(4, "TALB", text)));
    auto plain = parsed(id3Tag(4, id3Frame(3, "TIT2", text) + id3Frame(3, "Date", text) + id3Frame(3, "TALB", text)));
    for (const Id3v2Tag* tag : { &safe, &plain }) {
        EXPECT_THAT(idsOf(*tag), ElementsAre("TIT2", "Date", "TALB"));
        EXPECT_TRUE(tag->complete());
    }
}

TEST(Id3v2Tag, AnExtendedHeaderBeforeAnOddName)
{
    std::string frames = id3Frame(3, "Date",
                             zeroed("\0"
                                    "2001"))
        + id3Frame(3, "TIT2", zeroed("\0Song"));
    auto tag = parsed(id3Tag(3, bigEndian(6) + std::string(6, '\0') + frames, 0x40));
    EXPECT_THAT(idsOf(tag), ElementsAre("Date", "TIT2"));
    EXPECT_TRUE(tag.complete());
    auto lost = parsed(id3Tag(3, bigEndian(700) + std::string(6, '\0') + frames, 0x40));
    EXPECT_FALSE(lost.complete()) << "a header of a size that leads nowhere hides every frame";
    EXPECT_TRUE(parsed(id3Tag(3, "", 0x40, 100)).complete());
}

TEST(Id3v2Tag, UnreadableFramesOfV24InTheOrderOfV23)
{
    std::string packed = zlibPacked("abc");
    auto tag = parsed(id3Tag(4,
        id3Frame(4, "TXXX", "Gesecret", 0x44) + id3Frame(4, "TALB", "Ge" + syncsafe(200) + packed, 0x4D)
            + id3Frame(4, "TCOM", syncsafe(900) + packed, 0x09)
            + id3Frame(4, "PRIV", "e" + unsynchronised(zeroed("\xFF\0x")), 0x06)));
    ASSERT_EQ(tag.frames().size(), 4u);
    auto expectPacked = [&](std::size_t index, const std::string& content, std::uint16_t flags) {
        EXPECT_FALSE(tag.frames()[index].readable);
        EXPECT_EQ(charsOf(tag.frames()[index].packed), content);
        EXPECT_EQ(tag.frames()[index].packedFlags, flags);
    };
    expectPacked(0, "eGsecret", 0x60);
    expectPacked(1, bigEndian(200) + "eG" + packed, 0xE0);
    expectPacked(2, bigEndian(900) + packed, 0x80);
    expectPacked(3, "e" + zeroed("\xFF\0x"), 0x40);
}

TEST(Id3v2Tag, UnknownVersionsAndCompressedV22AreNotRead)
{
    auto v5 = parsed(id3Tag(5, id3Frame(4, "TIT2", zeroed("\0Song"))));
    EXPECT_TRUE(v5.frames().empty());
    EXPECT_FALSE(v5.complete());
    auto v22 = parsed(id3Tag(2, id3Frame(2, "TT2", zeroed("\0Song")), 0x40));
    EXPECT_TRUE(v22.frames().empty());
    EXPECT_FALSE(v22.complete());
}

TEST(Id3v2Tag, DamageEndsTheListAndIsTold)
{
    std::string title = id3Frame(3, "TIT2", zeroed("\0Song"));
    auto overlong = parsed(id3Tag(3, title + "TALB" + bigEndian(5000) + zeroed("\0\0") + "abc"));
    EXPECT_THAT(idsOf(overlong), ElementsAre("TIT2"));
    EXPECT_FALSE(overlong.complete());
    auto junk = parsed(id3Tag(3, title + "\x01\x02\x03 some junk behind the frames"));
    EXPECT_THAT(idsOf(junk), ElementsAre("TIT2"));
    EXPECT_FALSE(junk.complete());
    std::string cut = id3Tag(3, title + id3Frame(3, "TALB", zeroed("\0Album")));
    auto truncated = parsed(cut.substr(0, cut.size() - 3));
    EXPECT_THAT(idsOf(truncated), ElementsAre("TIT2"));
    EXPECT_FALSE(truncated.complete());
    auto padded = parsed(id3Tag(3, title, 0, 500));
    EXPECT_TRUE(padded.complete());
    auto stump = parsed(id3Tag(3, title + "TIT2 stum"));
    EXPECT_TRUE(stump.complete()) << "nine bytes hold no frame";
}

TEST(Id3v2Tag, CountOfFramesIsBounded)
{
    std::string frames;
    for (std::size_t i = 0; i < Id3v2Tag::MaxFrames + 10; ++i)
        frames += id3Frame(2, "TT2", "x");
    auto tag = parsed(id3Tag(2, frames));
    EXPECT_EQ(tag.frames().size(), Id3v2Tag::MaxFrames);
    EXPECT_FALSE(tag.complete());
}

TEST(Id3v2Tag, KeepsItsContentWhenMoved)
{
    std::string packed = syncsafe(3) + zlibPacked("\3\xC3\xA9");
    auto tag = parsed(id3Tag(4, id3Frame(4, "TIT2", packed, 0x09) + id3Frame(4, "TALB", zeroed("\0stored"))));
    std::vector<Id3v2Tag> list;
    list.push_back(std::move(tag));
    list.reserve(100);
    Id3v2Tag moved = std::move(list[0]);
    EXPECT_EQ(bodyOf(moved, 0), "\3\xC3\xA9");
    EXPECT_EQ(bodyOf(moved, 1), zeroed("\0stored"));
}

} // namespace
} // namespace mv::test
