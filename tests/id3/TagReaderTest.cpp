#include "id3/TagReader.h"

#include "id3/Lyrics3Tag.h"
#include "tests/support/Corpus.h"
#include "tests/support/Mp3Maker.h"

#include <cstring>
#include <gtest/gtest.h>

namespace mv::test {
namespace {

std::string title(std::string_view text) { return id3Frame(3, "TIT2", '\0' + std::string(text)); }
std::string title4(std::string_view text) { return id3Frame(4, "TIT2", '\0' + std::string(text)); }
std::string bodyOf(const Id3v2Tag& tag) { return std::string(charsOf(tag.frames().at(0).body)); }

std::string ape(std::size_t items, bool header)
{
    std::string size(4, '\0');
    auto total = static_cast<std::uint32_t>(items + 32);
    for (int i = 0; i < 4; ++i)
        size[static_cast<std::size_t>(i)] = static_cast<char>(total >> 8 * i);
    auto block = [&](unsigned char high) {
        return "APETAGEX" + zeroed("\xD0\7\0\0") + size + zeroed("\1\0\0\0") + zeroed("\0\0\0")
            + static_cast<char>(high) + std::string(8, '\0');
    };
    return (header ? block(0xA0) : "") + std::string(items, 'i') + block(header ? 0x80 : 0x00);
}

std::string lyrics2(const std::string& fields)
{
    std::string block = "LYRICSBEGIN" + fields;
    char digits[8];
    std::snprintf(digits, sizeof digits, "%06zu", block.size());
    return block + digits + "LYRICS200";
}

const std::string Audio = mpegFrames(3);
const std::string V1 = id3v1Tag({ .title = "One" });

TagSet read(const std::string& file)
{
    auto tags = readTags(MemorySource(bytesOf(file)));
    EXPECT_TRUE(tags.ok());
    return std::move(*tags);
}

TEST(TagReader, FileWithoutTags)
{
    for (const std::string& file : { std::string(), std::string("x"), Audio }) {
        TagSet tags = read(file);
        EXPECT_TRUE(tags.prependedTags.empty());
        EXPECT_EQ(tags.audioBegin, 0u);
        EXPECT_EQ(tags.audioEnd, file.size());
    }
}

TEST(TagReader, OneTagAndItsBorders)
{
    std::string tag = id3Tag(3, title("a"), 0, 77);
    TagSet tags = read(tag + Audio);
    ASSERT_EQ(tags.prependedTags.size(), 1u);
    EXPECT_EQ(tags.prependedTags[0].extent(), (TagExtent { 0, tag.size() }));
    EXPECT_EQ(tags.audioBegin, tag.size());
    EXPECT_EQ(tags.audioEnd, tag.size() + Audio.size());
}

TEST(TagReader, TagsInARow)
{
    std::string first = id3Tag(3, title("a"));
    std::string second = id3Tag(4, title4("b"), 0, 20000); // past the first read
    std::string third = id3TagWithFooter(title4("c"));
    TagSet tags = read(first + std::string(50, '\0') + second + third + Audio);
    ASSERT_EQ(tags.prependedTags.size(), 3u);
    EXPECT_EQ(bodyOf(tags.prependedTags[0]), zeroed("\0a"));
    EXPECT_EQ(bodyOf(tags.prependedTags[1]), zeroed("\0b"));
    EXPECT_EQ(bodyOf(tags.prependedTags[2]), zeroed("\0c"));
    EXPECT_EQ(tags.prependedTags[1].extent().offset, first.size() + 50);
    EXPECT_EQ(tags.audioBegin, first.size() + 50 + second.size() + third.size());
}

TEST(TagReader, ZerosInFrontOfTheFirstTag)
{
    TagSet tags = read(std::string(300, '\0') + id3Tag(3, title("a")) + Audio);
    ASSERT_EQ(tags.prependedTags.size(), 1u);
    EXPECT_EQ(tags.prependedTags[0].extent().offset, 300u);
    EXPECT_TRUE(read(std::string(300, '\0') + Audio).prependedTags.empty());
}

TEST(TagReader, ZerosBetweenTagsAreSteppedOverUpToALimit)
{
    std::string first = id3Tag(3, title("a"));
    std::string second = id3Tag(3, title("b"));
    constexpr std::size_t Limit = 16'384;
    for (std::size_t zeros : { std::size_t { 4'000 }, std::size_t { 4'096 }, Limit - second.size() }) {
        TagSet tags = read(first + std::string(zeros, '\0') + second + Audio);
        ASSERT_EQ(tags.prependedTags.size(), 2u) << zeros;
        EXPECT_EQ(bodyOf(tags.prependedTags[1]), zeroed("\0b"));
    }
    EXPECT_EQ(read(first + std::string(Limit, '\0') + second + Audio).prependedTags.size(), 1u);
}

TEST(TagReader, LargeTagIsReadWhole)
{
    std::string tag = id3Tag(3, id3Frame(3, "APIC", std::string(100'000, 'p')) + title("behind"));
    TagSet tags = read(tag + Audio);
    ASSERT_EQ(tags.prependedTags.size(), 1u);
    ASSERT_EQ(tags.prependedTags[0].frames().size(), 2u);
    EXPECT_EQ(charsOf(tags.prependedTags[0].frames()[1].body), zeroed("\0behind"));
}

TEST(TagReader, TagThatClaimsMoreThanTheFileHas)
{
    std::string tag = "ID3" + zeroed("\3\0\0") + "\x7F\x7F\x7F\x7F" + title("a");
    TagSet tags = read(tag + Audio);
    ASSERT_EQ(tags.prependedTags.size(), 1u);
    EXPECT_EQ(tags.prependedTags[0].extent(), (TagExtent { 0, tag.size() }));
    EXPECT_FALSE(tags.prependedTags[0].complete());
    EXPECT_EQ(bodyOf(tags.prependedTags[0]), zeroed("\0a"));
    EXPECT_EQ(tags.audioBegin, tag.size());
    EXPECT_EQ(tags.audioEnd, tag.size() + Audio.size());
}

TEST(TagReader, AppendedTagIsFoundFromTheEnd)
{
    std::string tag = id3TagWithFooter(title4("end"));
    for (const std::string& behind : { std::string(), V1, ape(40, true) + V1, lyrics2("LYR00003abc") + V1 }) {
        TagSet tags = read(Audio + tag + behind);
        ASSERT_EQ(tags.appendedTags.size(), 1u) << behind.size();
        EXPECT_EQ(bodyOf(tags.appendedTags[0]), zeroed("\0end"));
        EXPECT_EQ(tags.appendedTags[0].extent(), (TagExtent { Audio.size(), tag.size() }));
        EXPECT_EQ(tags.audioEnd, Audio.size());
        EXPECT_TRUE(tags.prependedTags.empty());
    }
}

TEST(TagReader, SeveralAppendedTagsKeepTheirOrder)
{
    TagSet tags = read(Audio + id3TagWithFooter(title4("a")) + id3TagWithFooter(title4("b")));
    ASSERT_EQ(tags.appendedTags.size(), 2u);
    EXPECT_EQ(bodyOf(tags.appendedTags[0]), zeroed("\0a"));
    EXPECT_EQ(bodyOf(tags.appendedTags[1]), zeroed("\0b"));
}

TEST(TagReader, WhatLiesInPlaceOfAClaimedFooterIsNotTheTags)
{
    std::string claims = id3Tag(4, title4("a"));
    claims[5] = 0x10;
    TagSet alone = read(claims + Audio);
    ASSERT_EQ(alone.prependedTags.size(), 1u);
    EXPECT_EQ(alone.audioBegin, claims.size());
    TagSet two = read(claims + id3Tag(3, title("b")) + Audio);
    ASSERT_EQ(two.prependedTags.size(), 2u);
    EXPECT_EQ(bodyOf(two.prependedTags[1]), zeroed("\0b"));
    TagSet atTheEnd = read(claims);
    ASSERT_EQ(atTheEnd.prependedTags.size(), 1u);
    EXPECT_TRUE(atTheEnd.prependedTags[0].complete());
    EXPECT_EQ(atTheEnd.audioBegin, claims.size());
}

TEST(TagReader, FootersWithoutATagBeforeThemAreAudio)
{
    std::string tag = id3TagWithFooter(title4("end"));
    TagSet tags = read(Audio + tag.substr(5));
    EXPECT_TRUE(tags.appendedTags.empty());
    EXPECT_EQ(tags.audioEnd, Audio.size() + tag.size() - 5);
}

TEST(TagReader, BlocksAtTheEnd)
{
    std::string items = ape(100, true);
    std::string lyrics = lyrics2("LYR00003abc");
    TagSet tags = read(Audio + items + lyrics + V1);
    EXPECT_EQ(tags.audioEnd, Audio.size());
    EXPECT_EQ(tags.ape, (TagExtent { Audio.size(), items.size() }));
    EXPECT_EQ(tags.lyrics3, (TagExtent { Audio.size() + items.size(), lyrics.size() }));
    EXPECT_TRUE(tags.lyrics3IsVersion2);
    ASSERT_TRUE(tags.id3v1);
    EXPECT_EQ(charsOf(tags.id3v1->title), "One");
    tags = read(Audio + lyrics + items + V1);
    EXPECT_EQ(tags.audioEnd, Audio.size());
    tags = read(Audio + ape(10, false));
    EXPECT_EQ(tags.ape, (TagExtent { Audio.size(), 42 }));
}

TEST(TagReader, Lyrics3Version1)
{
    std::string block = "LYRICSBEGINsome words"
                        "LYRICSEND";
    TagSet tags = read(Audio + block + V1);
    EXPECT_EQ(tags.lyrics3, (TagExtent { Audio.size(), block.size() }));
    EXPECT_FALSE(tags.lyrics3IsVersion2);
    EXPECT_EQ(tags.audioEnd, Audio.size());
}

TEST(TagReader, LyingSizesAtTheEndAreNotBelieved)
{
    EXPECT_FALSE(read(Audio
        + "LYRICSBEGIN"
          "999999LYRICS200"
        + V1)
                     .lyrics3);
    EXPECT_FALSE(read(Audio
        + "LYRICSBEGIN"
          "00x011LYRICS200"
        + V1)
                     .lyrics3);
    EXPECT_FALSE(read(Audio + "LYRICSEND" + V1).lyrics3);
    std::string huge = ape(10, true);
    huge[huge.size() - 32 + 15] = 0x7F;
    EXPECT_FALSE(read(Audio + huge).ape);
}

// "TAG" stands in its mark where an ID3v1 tag begins.
TEST(TagReader, AnApeTagOf131BytesIsOne)
{
    std::string items = ape(131 - 2 * 32, true);
    TagSet tags = read(Audio + items);
    EXPECT_FALSE(tags.id3v1);
    EXPECT_EQ(tags.ape, (TagExtent { Audio.size(), 131 }));
    EXPECT_TRUE(read(Audio + items + V1).id3v1);
}

TEST(TagReader, ApeAtTheFront)
{
    std::string items = ape(100, true);
    TagSet tags = read(items + Audio);
    EXPECT_EQ(tags.leadingApe, (TagExtent { 0, items.size() }));
    EXPECT_EQ(tags.audioBegin, items.size());
}

TEST(TagReader, TagsNeverOverlap)
{
    TagSet tags = read(id3Tag(3, title("a")) + id3TagWithFooter(title4("b")));
    EXPECT_EQ(tags.prependedTags.size(), 2u);
    EXPECT_TRUE(tags.appendedTags.empty());
    EXPECT_EQ(tags.audioBegin, tags.audioEnd);
    std::string onlyV1 = id3v1Tag({ .title = "alone" });
    tags = read(onlyV1);
    EXPECT_TRUE(tags.id3v1);
    EXPECT_EQ(tags.audioEnd, 0u);
}

TEST(TagReader, ManyTagsAreBounded)
{
    std::string file;
    for (int i = 0; i < 1000; ++i)
        file += id3Tag(3, "");
    TagSet tags = read(file + Audio);
    EXPECT_EQ(tags.prependedTags.size(), 16u);
    EXPECT_LE(tags.audioBegin, tags.audioEnd);
}

/// A file of any size that holds nothing but its first bytes and counts what is read.
class HugeSource final : public ByteSource {
public:
    HugeSource(std::string front, std::uint64_t size)
        : m_front(std::move(front))
        , m_size(size)
    {
    }
    std::uint64_t size() const override { return m_size; }
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override
    {
        std::fill(target.begin(), target.end(), 0);
        if (offset < m_front.size())
            std::memcpy(
                target.data(), m_front.data() + offset, std::min<std::size_t>(target.size(), m_front.size() - offset));
        auto count = static_cast<std::size_t>(std::min<std::uint64_t>(target.size(), m_size - offset));
        bytesRead += count;
        return count;
    }
    mutable std::uint64_t bytesRead = 0;

private:
    std::string m_front;
    std::uint64_t m_size;
};

TEST(TagReader, ReadsTheTagsAndNotTheAudio)
{
    std::string tag = id3Tag(3, title("a"), 0, 1000);
    HugeSource song(tag + Audio, 5'000'000'000);
    auto tags = readTags(song);
    ASSERT_TRUE(tags.ok());
    EXPECT_EQ(tags->audioEnd, 5'000'000'000u);
    EXPECT_LT(song.bytesRead, 5'000u);
    HugeSource zeros(tag, 5'000'000'000);
    ASSERT_TRUE(readTags(zeros).ok());
    EXPECT_LT(zeros.bytesRead, 25'000u) << "a second tag may follow";
}

TEST(TagReader, ATagOf256MegabytesIsReadToTheLimit)
{
    HugeSource source("ID3" + zeroed("\3\0\0") + "\x7F\x7F\x7F\x7F" + title("a"), 5'000'000'000);
    auto tags = readTags(source);
    ASSERT_TRUE(tags.ok());
    ASSERT_EQ(tags->prependedTags.size(), 1u);
    EXPECT_EQ(bodyOf(tags->prependedTags[0]), zeroed("\0a"));
    EXPECT_FALSE(tags->prependedTags[0].complete());
    EXPECT_EQ(tags->audioBegin, 10u + 0x0FFFFFFF);
    EXPECT_LT(source.bytesRead, MaxTagBytes + 100'000);
}

/// Fails where it is told to.
class FailingSource final : public ByteSource {
public:
    std::uint64_t size() const override { return 1000; }
    Result<std::size_t> readAt(std::uint64_t, std::span<std::uint8_t>) const override
    {
        return Error { Error::Kind::Io, "no" };
    }
};

TEST(TagReader, HandsOnTheSourcesFailure)
{
    FailingSource source;
    auto tags = readTags(source);
    ASSERT_FALSE(tags.ok());
    EXPECT_EQ(tags.error().kind, Error::Kind::Io);
}

TEST(Id3v1Tag, FieldsAndVersions)
{
    std::string v11 = id3v1Tag({ "Title  ", "Artist", "Album", "1999", "Comment", 7, 17 });
    auto tag = Id3v1Tag::parse(bytesOf(v11));
    ASSERT_TRUE(tag);
    EXPECT_EQ(charsOf(tag->title), "Title");
    EXPECT_EQ(charsOf(tag->artist), "Artist");
    EXPECT_EQ(charsOf(tag->album), "Album");
    EXPECT_EQ(charsOf(tag->year), "1999");
    EXPECT_EQ(charsOf(tag->comment), "Comment");
    EXPECT_EQ(tag->track, 7);
    EXPECT_EQ(tag->genre, 17);
    std::string v1 = id3v1Tag({ .title = std::string(30, 't'), .comment = std::string(30, 'c') });
    tag = Id3v1Tag::parse(bytesOf(v1));
    ASSERT_TRUE(tag);
    EXPECT_EQ(tag->title.size(), 30u);
    EXPECT_EQ(tag->comment.size(), 30u);
    EXPECT_EQ(tag->track, 0);
    EXPECT_EQ(tag->genre, 255);
    EXPECT_FALSE(Id3v1Tag::parse(bytesOf(v1).first(127)));
    EXPECT_FALSE(Id3v1Tag::parse(bytesOf("XAG" + v1.substr(3))));
}

TEST(Lyrics3Tag, FieldsOfVersion2)
{
    std::string block = lyrics2("IND00003110"
                                "ETT00010Long title"
                                "EAR00003Who"
                                "EAL00005Album"
                                "INF00004info"
                                "LYR00010[00:01]abc"
                                "AUT00003aut");
    auto tag = Lyrics3Tag::parse(bytesOf(block), true);
    EXPECT_EQ(charsOf(tag.title), "Long title");
    EXPECT_EQ(charsOf(tag.artist), "Who");
    EXPECT_EQ(charsOf(tag.album), "Album");
    EXPECT_EQ(charsOf(tag.information), "info");
    EXPECT_TRUE(tag.hasLyrics);
    EXPECT_TRUE(tag.lyricsHaveTimes);
}

TEST(Lyrics3Tag, DamageEndsTheFields)
{
    auto tag = Lyrics3Tag::parse(bytesOf(lyrics2("ETT00003abcEAR99999x")), true);
    EXPECT_EQ(charsOf(tag.title), "abc");
    EXPECT_TRUE(tag.artist.empty());
    EXPECT_TRUE(Lyrics3Tag::parse(bytesOf(lyrics2("ETT0x003abc")), true).title.empty());
    EXPECT_FALSE(Lyrics3Tag::parse(bytesOf("LYR"), true).hasLyrics);
    EXPECT_TRUE(Lyrics3Tag::parse(bytesOf("LYRICSBEGINabcLYRICSEND"), false).hasLyrics);
}

} // namespace
} // namespace mv::test
