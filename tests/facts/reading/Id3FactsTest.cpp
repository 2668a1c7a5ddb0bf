#include "facts/reading/ShortenedTag.h"
#include "tests/facts/reading/Described.h"
#include "tests/facts/reading/FactsText.h"
#include "tests/support/Mp3Maker.h"

#include <gtest/gtest.h>

namespace mv::test {
namespace {

/// The facts of a song with these frames in front.
Facts song(int version, const std::string& frames, const FactsWish& wish = {})
{
    auto facts = describedBytes(id3Tag(version, frames) + mpegFrames(20), "a.mp3", wish);
    EXPECT_TRUE(facts.ok());
    return facts ? std::move(*facts) : Facts {};
}

std::string picture(std::string_view type, const std::string& description, std::size_t size)
{
    return zeroed("\0image/jpeg\0") + std::string(type) + description + '\0' + "\xFF\xD8\xFF"
        + std::string(size - 3, 'p');
}

TEST(Id3Facts, SeveralValuesHaveAZeroBetweenThemInEveryVersion)
{
    EXPECT_EQ(textOf(song(2, id3Frame(2, "TP1", zeroed("\0AC/DC\0Other"))), fact::Artist), "AC/DC | Other");
    EXPECT_EQ(textOf(song(3, id3Frame(3, "TPE1", zeroed("\0AC/DC\0Other"))), fact::Artist), "AC/DC | Other");
    EXPECT_EQ(textOf(song(4, id3Frame(4, "TPE1", zeroed("\3AC/DC\0Other\0"))), fact::Artist), "AC/DC | Other");
    std::string wide = "\1" + MarkLE + utf16LE("AC/DC") + zeroed("\0\0") + MarkLE + utf16LE("Other");
    EXPECT_EQ(textOf(song(3, id3Frame(3, "TPE1", wide)), fact::Artist), "AC/DC | Other");
}

TEST(Id3Facts, AMarkCountsForTheValuesBehindIt)
{
    std::string wide = "\1" + MarkBE + utf16BE("One") + zeroed("\0\0") + utf16BE("Two");
    EXPECT_EQ(textOf(song(4, id3Frame(4, "TPE1", wide)), fact::Artist), "One | Two");
}

TEST(Id3Facts, CommentsWithADescriptionAreSomethingElse)
{
    Facts facts = song(3,
        id3Frame(3, "COMM", zeroed("\0engiTunNORM\0 00001")) + id3Frame(3, "COMM", zeroed("\0eng\0A comment"))
            + id3Frame(3, "COMM", zeroed("\0kor\0Another")));
    EXPECT_EQ(textOf(facts, fact::Comment), "A comment | Another");
}

TEST(Id3Facts, DatesOfAllVersions)
{
    EXPECT_EQ(textOf(song(3,
                         id3Frame(3, "TYER",
                             zeroed("\0"
                                    "2010"))
                             + id3Frame(3, "TDAT",
                                 zeroed("\0"
                                        "0405"))
                             + id3Frame(3, "TIME",
                                 zeroed("\0"
                                        "1701"))),
                  fact::ContentCreated),
        "2010-05-04T17:01");
    EXPECT_EQ(textOf(song(4,
                         id3Frame(4, "TDRC",
                             "\3"
                             "2010-05-04")),
                  fact::ContentCreated),
        "2010-05-04");
    EXPECT_EQ(textOf(song(4,
                         id3Frame(4, "TDRL",
                             "\3"
                             "2011")),
                  fact::ContentCreated),
        "2011");
    EXPECT_EQ(textOf(song(2,
                         id3Frame(2, "TYE",
                             zeroed("\0"
                                    "1999"))),
                  fact::ContentCreated),
        "1999");
}

// As several programs write it into tags whose version has it not.
TEST(Id3Facts, TheDateOfALaterVersionCountsWhereThereIsNone)
{
    std::string later = id3Frame(3, "TDRC",
        zeroed("\0"
               "2011-03-04"));
    EXPECT_EQ(textOf(song(3, later), fact::ContentCreated), "2011-03-04");
    EXPECT_EQ(textOf(song(3,
                         later
                             + id3Frame(3, "TYER",
                                 zeroed("\0"
                                        "1999"))),
                  fact::ContentCreated),
        "1999");
}

// A year beside v2.4's time stamp is what a tag of v2.3 has left behind.
TEST(Id3Facts, OfAYearAndATimeStampTheOneOfTheVersionCounts)
{
    const std::string year = id3Frame(4, "TYER", zeroed("\0") + "1999");
    const std::string stamp = id3Frame(4, "TDRC", zeroed("\0") + "2004-05-06");
    EXPECT_EQ(textOf(song(4, year + stamp), fact::ContentCreated), "2004-05-06");
    EXPECT_EQ(textOf(song(4, stamp + year), fact::ContentCreated), "2004-05-06");
    EXPECT_EQ(textOf(song(4, year), fact::ContentCreated), "1999");
    // A day is told beside a stamp of its year alone.
    const std::string day = id3Frame(4, "TDAT", zeroed("\0") + "0605");
    const std::string plain = id3Frame(4, "TDRC", zeroed("\0") + "2004");
    EXPECT_EQ(textOf(song(4, plain + day), fact::ContentCreated), "2004-05-06");
    EXPECT_EQ(
        textOf(song(4, plain + id3Frame(4, "TYER", zeroed("\0") + "2004") + day), fact::ContentCreated), "2004-05-06");
    EXPECT_EQ(textOf(song(4, plain + year + day), fact::ContentCreated), "2004");
}

TEST(Id3Facts, LyricsTempoCompilationAndTotals)
{
    Facts facts = song(3,
        id3Frame(3, "USLT", zeroed("\0eng\0La la"))
            + id3Frame(3, "TBPM",
                zeroed("\0"
                       "84.7"))
            + id3Frame(3, "TCMP",
                zeroed("\0"
                       "1"))
            + id3Frame(3, "TPOS",
                zeroed("\0"
                       "1/2")));
    EXPECT_EQ(textOf(facts, fact::AsText), "La la");
    EXPECT_EQ(textOf(facts, fact::AudioBpm), "84");
    EXPECT_EQ(textOf(facts, fact::Compilation), "1");
    EXPECT_EQ(textOf(facts, fact::DiscNumber) + "/" + textOf(facts, fact::DiscTotal), "1/2");
}

TEST(Id3Facts, WhatTheTagDoesNotHaveComesFromVersion1)
{
    std::string tag = id3Tag(3, id3Frame(3, "TIT2", zeroed("\0A title that is longer than thirty characters")));
    std::string old = id3v1Tag({ "A title that is longer than th", "An artist", "", "1999", "", 5, 17 });
    auto facts = describedBytes(tag + mpegFrames(20) + old, "a.mp3");
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(textOf(*facts, fact::Title), "A title that is longer than thirty characters");
    EXPECT_EQ(textOf(*facts, fact::Artist), "An artist");
    EXPECT_EQ(textOf(*facts, fact::TrackNumber), "5");
    EXPECT_EQ(textOf(*facts, fact::Genre), "Rock");
}

TEST(Id3Facts, TheFrontCoverComesFirstAndOnlyWhenAsked)
{
    std::string frames
        = id3Frame(3, "APIC", picture("\4", "back", 100)) + id3Frame(3, "APIC", picture("\3", "front", 200));
    Facts plain = song(3, frames);
    EXPECT_EQ(textOf(plain, fact::HasPicture), "1");
    EXPECT_TRUE(plain.pictures.empty());
    Facts facts = song(3, frames, { .pictures = true });
    ASSERT_EQ(facts.pictures.size(), 2u);
    EXPECT_EQ(facts.pictures[0].type, FrontCoverType);
    EXPECT_EQ(facts.pictures[0].description, "front");
    EXPECT_EQ(facts.pictures[0].mimeType, "image/jpeg");
    EXPECT_EQ(facts.pictures[0].data.size(), 200u);
    EXPECT_EQ(facts.pictures[1].description, "back");
}

TEST(Id3Facts, NoMorePicturesThanAreGivenOut)
{
    std::string frames;
    for (int i = 0; i < 20; ++i)
        frames += id3Frame(3, "APIC", picture("\4", std::string(1, static_cast<char>('a' + i)), 50));
    frames += id3Frame(3, "APIC", picture("\3", "front", 50));
    Facts facts = song(3, frames, { .pictures = true });
    ASSERT_EQ(facts.pictures.size(), MaxFactPictures);
    EXPECT_EQ(facts.pictures[0].description, "front");
}

TEST(Id3Facts, ALinkIsNoPicture)
{
    Facts facts = song(3, id3Frame(3, "APIC", zeroed("\0-->\0\3\0http://example.org/a.jpg")));
    EXPECT_EQ(textOf(facts, fact::HasPicture), "0");
}

/// Counts what is read of a song.
class Counted final : public ByteSource {
public:
    explicit Counted(const std::string& bytes)
        : m_bytes(bytesOf(bytes))
    {
    }
    std::uint64_t size() const override { return m_bytes.size(); }
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override
    {
        auto got = m_bytes.readAt(offset, target);
        read += got ? *got : 0;
        return got;
    }
    mutable std::uint64_t read = 0;

private:
    MemorySource m_bytes;
};

class ShortenedTags : public testing::TestWithParam<int> { };

TEST_P(ShortenedTags, HaveAllFactsAndAreNotReadWhole)
{
    int version = GetParam();
    std::string frames = id3Frame(version, "TIT2", zeroed("\0Title"))
        + id3Frame(version, "APIC", picture("\3", "front", 300'000)) + id3Frame(version, "TALB", zeroed("\0Album"));
    std::string bytes = id3Tag(version, frames, 0, 1000) + mpegFrames(40) + id3v1Tag({ .artist = "Artist" });
    Counted source(bytes);
    auto shortened = ShortenedTag::of(source);
    ASSERT_TRUE(shortened);
    EXPECT_LT(source.read, 10'000u);
    EXPECT_LT(shortened->size(), bytes.size() - 290'000);
    auto facts = describedBytes(bytes, "a.mp3");
    auto whole = describedBytes(bytes, "a.mp3", { .pictures = true });
    ASSERT_TRUE(facts.ok() && whole.ok());
    ASSERT_EQ(whole->pictures.size(), 1u);
    EXPECT_EQ(whole->pictures[0].data.size(), 300'000u);
    whole->pictures.clear();
    EXPECT_EQ(*facts, *whole);
    EXPECT_EQ(textOf(*facts, fact::Album), "Album");
    EXPECT_EQ(textOf(*facts, fact::Artist), "Artist");
}

INSTANTIATE_TEST_SUITE_P(Versions, ShortenedTags, testing::Values(3, 4));

TEST(ShortenedTag, WhatIsNotPlainIsLeftAsItIs)
{
    std::string frames = id3Frame(3, "APIC", picture("\3", "front", 300'000));
    EXPECT_FALSE(ShortenedTag::of(Counted(mpegFrames(20))));
    EXPECT_FALSE(ShortenedTag::of(Counted(id3Tag(3, id3Frame(3, "TIT2", zeroed("\0T"))) + mpegFrames(20))));
    EXPECT_FALSE(ShortenedTag::of(Counted(id3Tag(3, frames, 0x80) + mpegFrames(20)))) << "unsynchronised";
    EXPECT_FALSE(ShortenedTag::of(Counted(id3Tag(3, frames).substr(0, 100'000)))) << "cut off";
    std::string broken = id3Tag(3, frames + "abcd" + bigEndian(5) + zeroed("\0\0hello"));
    EXPECT_FALSE(ShortenedTag::of(Counted(broken + mpegFrames(20)))) << "a name that is none";
}

} // namespace
} // namespace mv::test
