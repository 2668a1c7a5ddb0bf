#include "tests/facts/reading/Described.h"
#include "tests/facts/reading/FactsText.h"
#include "tests/support/Corpus.h"
#include "tests/support/Mp4Maker.h"
#include "tests/support/Scratch.h"

#include <gtest/gtest.h>

namespace mv::test {
namespace {

Facts movie(const Bytes& items, const FactsWish& wish = {})
{
    Mp4Spec spec;
    spec.items = items;
    auto facts = describedBytes(
        charsOf(joined({ box("ftyp", bytes(std::string_view("M4A \0\0\0\0", 8))), makeMp4(spec).bytes })), {}, wish);
    EXPECT_TRUE(facts.ok());
    return facts ? std::move(*facts) : Facts {};
}

TEST(IsoFacts, EveryValueOfEveryItem)
{
    Bytes two = joined({ dataBox(1, bytes("One")), dataBox(1, bytes("Two")) });
    Facts facts = movie(joined({ box("\251ART", two), textItem("\251ART", "AC/DC"), textItem("aART", "Band"),
        textItem("\251nam", "제목"), textItem("\251day", "2009-05-12T07:00:00Z"), item("trkn", 0, pair(3, 12, 8)),
        item("disk", 0, pair(1, 2, 6)), item("tmpo", 21, number(120, 2)), item("cpil", 21, number(1, 1)),
        textItem("\251lyr", "La"), item("gnre", 0, number(18, 2)), textItem("\251cmt", "Words") }));
    EXPECT_EQ(textOf(facts, fact::Artist), "One | Two | AC/DC");
    EXPECT_EQ(textOf(facts, fact::AlbumArtist), "Band");
    EXPECT_EQ(textOf(facts, fact::Title), "제목");
    EXPECT_EQ(textOf(facts, fact::ContentCreated), "2009-05-12T07:00:00Z");
    EXPECT_EQ(textOf(facts, fact::TrackNumber) + "/" + textOf(facts, fact::TrackTotal), "3/12");
    EXPECT_EQ(textOf(facts, fact::DiscNumber) + "/" + textOf(facts, fact::DiscTotal), "1/2");
    EXPECT_EQ(textOf(facts, fact::AudioBpm), "120");
    EXPECT_EQ(textOf(facts, fact::Compilation), "1");
    EXPECT_EQ(textOf(facts, fact::AsText), "La");
    EXPECT_EQ(textOf(facts, fact::Genre), "Rock");
    EXPECT_EQ(textOf(facts, fact::Comment), "Words");
    EXPECT_EQ(textOf(facts, fact::MimeType), "audio/mp4");
    EXPECT_EQ(textOf(facts, fact::AudioCodec), "aac");
    EXPECT_EQ(textOf(facts, fact::Length), "1000000");
}

TEST(IsoFacts, TextsUnderKeysOfTheUserData)
{
    Mp4Spec spec;
    spec.items = textItem("\251gen", "Rock");
    Bytes keyed = keyedMetadata({ { "title", "T" }, { "com.apple.quicktime.artist", "A" }, { "album_artist", "AA" },
        { "date", "1999" }, { "genre", "Pop" }, { "com.apple.quicktime.make", "Phone" } });
    spec.extraInMovie = box("udta", keyed);
    auto facts = describedBytes(
        charsOf(joined({ box("ftyp", bytes(std::string_view("isom\0\0\0\0", 8))), makeMp4(spec).bytes })));
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(textOf(*facts, fact::Title), "T");
    EXPECT_EQ(textOf(*facts, fact::Artist), "A");
    EXPECT_EQ(textOf(*facts, fact::AlbumArtist), "AA");
    EXPECT_EQ(textOf(*facts, fact::ContentCreated), "1999");
    EXPECT_EQ(textOf(*facts, fact::Genre), "Rock"); // the list's goes before
    EXPECT_EQ(textOf(*facts, fact::CameraMake), "Phone");
}

TEST(IsoFacts, TheTextOfAGenreGoesBeforeItsNumber)
{
    EXPECT_EQ(
        textOf(movie(joined({ item("gnre", 0, number(18, 2)), textItem("\251gen", "Own") })), fact::Genre), "Own");
}

TEST(IsoFacts, TextsOfNoStatedCharset)
{
    EXPECT_EQ(textOf(movie(item("\251nam", 1, bytes("\xB0\xA1\xB3\xAA\xB4\xD9"))), fact::Title), "가나다");
}

TEST(IsoFacts, CoversOnlyWhenAsked)
{
    Bytes covers = box("covr", joined({ dataBox(13, Bytes(100, 1)), dataBox(14, bytes("\x89PNG\r\n\x1A\nrest")) }));
    Facts plain = movie(covers);
    EXPECT_EQ(textOf(plain, fact::HasPicture), "1");
    EXPECT_TRUE(plain.pictures.empty());
    Facts facts = movie(covers, { .pictures = true });
    ASSERT_EQ(facts.pictures.size(), 2u);
    EXPECT_EQ(facts.pictures[0].type, FrontCoverType);
    EXPECT_EQ(facts.pictures[1].mimeType, "image/png");
    EXPECT_EQ(textOf(movie(box("covr", dataBox(13, Bytes()))), fact::HasPicture), "0") << "an empty one";
}

TEST(IsoFacts, PlacesOf3gpp)
{
    auto placed = [](const Bytes& name) {
        Mp4Spec spec;
        // Language, name, role, degrees east and north, metres: parts of 65,536.
        Bytes content = joined({ number(0, 4), number(0x15C7, 2), name, number(0, 1), number(0xFFB5F49E, 4),
            number(0x0028B070, 4), number(0x000A8000, 4), bytes("earth"), number(0, 2) });
        spec.extraInMovie = box("udta", box("loci", content));
        auto facts = describedBytes(
            charsOf(joined({ box("ftyp", bytes(std::string_view("3gp4\0\0\0\0", 8))), makeMp4(spec).bytes })));
        EXPECT_TRUE(facts.ok());
        return facts ? std::move(*facts) : Facts {};
    };
    for (const Bytes& name :
        { joined({ bytes("Here"), number(0, 1) }), joined({ number(0xFEFF, 2), number(0x0048, 2), number(0, 2) }) }) {
        Facts facts = placed(name);
        ASSERT_TRUE(facts.get<double>(fact::Latitude) && facts.get<double>(fact::Longitude));
        EXPECT_NEAR(*facts.get<double>(fact::Latitude), 40.6892, 0.0001);
        EXPECT_NEAR(*facts.get<double>(fact::Longitude), -74.0445, 0.0001);
        EXPECT_EQ(*facts.get<double>(fact::Altitude), 10.5);
    }
    EXPECT_FALSE(placed(bytes("A name without its end")).contains(fact::Latitude));
}

// An enhanced podcast: its chapters' track of pictures is enabled.
TEST(IsoFacts, PicturesOfChaptersMakeNoVideo)
{
    MV_NEEDS_CORPUS();
    auto facts = describedCorpusFile("mp4/test-pod.m4a");
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(textOf(*facts, fact::Kind) + " " + textOf(*facts, fact::MimeType), "audio audio/mp4");
    EXPECT_FALSE(facts->contains(fact::Width));
}

TEST(IsoFacts, ChannelsOfAc3AndEac3)
{
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not here";
    ScratchFolder scratch;
    std::string path = scratch.file("a.mp4");
    for (const char* codec : { "ac3", "eac3" }) {
        for (const char* channels : { "1", "2", "6" }) {
            outputOf(std::string("ffmpeg -nostdin -v error -y -f lavfi -i sine=d=1:r=32000 -c:a ") + codec + " -ac "
                + channels + " " + shellQuoted(path));
            auto facts = describe(OpenedFile::at(Path(path)), {}, {});
            ASSERT_TRUE(facts.ok()) << codec;
            EXPECT_EQ(textOf(*facts, fact::AudioCodec), codec);
            EXPECT_EQ(textOf(*facts, fact::Channels), channels) << codec;
            EXPECT_EQ(textOf(*facts, fact::SampleRate), "32000") << codec;
        }
    }
}

} // namespace
} // namespace mv::test
