#include "service/tagedit/Id3Change.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "tests/service/tagedit/EditedBytes.h"
#include "tests/support/Mp3Maker.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using test::edited;
using test::id3Frame;
using test::id3Tag;
using test::titleChange;
using test::zeroed;

const std::string Sound = test::mpegFrames(20);

/// The frames of the tag at the front: header and content, without padding.
std::string framesOf(const std::string& file)
{
    auto tags = readTags(MemorySource(bytesOf(file)));
    std::string frames;
    for (const Id3v2Tag& tag : tags->prependedTags)
        for (const TagFrame& frame : tag.frames())
            frames += charsOf(frame.stored);
    return frames;
}

TEST(Id3Change, FramesKeepTheirBytesAndPlaces)
{
    for (int version : { 3, 4 }) {
        std::string before
            = id3Frame(version, "TPE1", zeroed("\0Artist")) + id3Frame(version, "PRIV", zeroed("who\0\xff\xe0"));
        std::string title = id3Frame(version, "TIT2", zeroed("\0Old"));
        std::string after = id3Frame(version, "XYZ1", "anything")
            + id3Frame(version, "TPUB",
                zeroed("\1\xff\xfe"
                       "a\0"));
        std::string file = id3Tag(version, before + title + after, 0, 100) + Sound;
        std::string made = edited(file, titleChange("New"));
        EXPECT_EQ(framesOf(made), before + id3Frame(version, "TIT2", zeroed("\0New")) + after) << version;
        EXPECT_TRUE(made.ends_with(Sound));
        EXPECT_EQ(made.size(), file.size()) << "there is room";
        EXPECT_EQ(framesOf(edited(file, titleChange(""))), before + after);
    }
}

TEST(Id3Change, ValuesHaveAZeroBetweenThem)
{
    TagChanges changes;
    changes[TagKey::Artist] = TagChanges::Values { "AC/DC", "B" };
    EXPECT_EQ(framesOf(edited(id3Tag(3, id3Frame(3, "TALB", zeroed("\0A"))) + Sound, changes)),
        id3Frame(3, "TALB", zeroed("\0A")) + id3Frame(3, "TPE1", zeroed("\0AC/DC\0B")));
    EXPECT_EQ(framesOf(edited(Sound, changes)), id3Frame(4, "TPE1", zeroed("\0AC/DC\0B")));
}

TEST(Id3Change, WhatFfmpegShowsOfTwoIsTheNewOne)
{
    TagChanges changes;
    changes[TagKey::Comment] = TagChanges::Values { "New" };
    for (int version : { 3, 4 }) {
        std::string title = id3Frame(version, "TIT2", zeroed("\0T"));
        std::string twin = id3Frame(version, "TXXX",
            zeroed("\1\xff\xfe"
                   "C\0o\0m\0m\0e\0n\0t\0\0\0\xff\xfeO\0"));
        std::string gain = id3Frame(version, "TXXX", zeroed("\0comments\0Other"));
        std::string made = id3Frame(version, "COMM", zeroed("\0XXX\0New"));
        std::string old = id3Frame(version, "COMM", zeroed("\0eng\0Old"));
        EXPECT_EQ(framesOf(edited(id3Tag(version, title + gain + twin) + Sound, changes)), title + gain + made + twin);
        EXPECT_EQ(framesOf(edited(id3Tag(version, title + twin + old) + Sound, changes)), title + made + twin);
        EXPECT_EQ(framesOf(edited(id3Tag(version, old + title + twin) + Sound, changes)), made + title + twin);
    }
    for (const auto& [key, id, name] :
        { std::tuple(TagKey::Title, "TIT2", "Title"), std::tuple(TagKey::AlbumArtist, "TPE2", "album_artist"),
            std::tuple(TagKey::Track, "TRCK", "TRACK"), std::tuple(TagKey::Date, "TDRC", "DATE") }) {
        TagChanges one;
        one[key] = TagChanges::Values { "2011" };
        std::string twin = id3Frame(4, "TXXX", zeroed("\0") + name + zeroed("\0user"));
        std::string other = id3Frame(4, "TXXX", zeroed("\0Other\0user"));
        std::string before = id3Frame(4, id, zeroed("\0") + "1999");
        std::string after = id3Frame(4, id, zeroed("\0") + "2011");
        EXPECT_EQ(framesOf(edited(id3Tag(4, before + twin + other) + Sound, one)), twin + after + other) << name;
        EXPECT_EQ(framesOf(edited(id3Tag(4, twin + before + other) + Sound, one)), twin + after + other) << name;
    }
    TagChanges date;
    date[TagKey::Date] = TagChanges::Values { "2011" };
    std::string released = id3Frame(4, "TDRL", zeroed("\0001999"));
    std::string recorded = id3Frame(4, "TDRC", zeroed("\0002001"));
    std::string title = id3Frame(4, "TIT2", zeroed("\0T"));
    std::string made = id3Frame(4, "TDRC", zeroed("\0002011"));
    EXPECT_EQ(framesOf(edited(id3Tag(4, recorded + released + title) + Sound, date)), released + made + title);
    EXPECT_EQ(framesOf(edited(id3Tag(4, released + title + recorded) + Sound, date)), released + title + made);
}

TEST(Id3Change, APlaceKeepsWhatIsNotNamedOfIt)
{
    TagChanges total;
    total[TagKey::TrackTotal] = TagChanges::Values { "12" };
    std::string file = id3Tag(3,
                           id3Frame(3, "TRCK",
                               zeroed("\0"
                                      "3/4")))
        + Sound;
    EXPECT_EQ(framesOf(edited(file, total)),
        id3Frame(3, "TRCK",
            zeroed("\0"
                   "3/12")));
    total[TagKey::TrackTotal]->clear();
    EXPECT_EQ(framesOf(edited(file, total)),
        id3Frame(3, "TRCK",
            zeroed("\0"
                   "3")));
}

TEST(Id3Change, ADateIsWhatTheVersionHas)
{
    TagChanges changes;
    changes[TagKey::Date] = TagChanges::Values { "2016-05-31T17:01:35+02:00" };
    std::string other3 = id3Frame(3, "TALB", zeroed("\0A"));
    EXPECT_EQ(framesOf(edited(id3Tag(3, other3) + Sound, changes)),
        other3
            + id3Frame(3, "TYER",
                zeroed("\0"
                       "2016"))
            + id3Frame(3, "TDAT",
                zeroed("\0"
                       "3105"))
            + id3Frame(3, "TIME",
                zeroed("\0"
                       "1701")));
    EXPECT_EQ(framesOf(edited(Sound, changes)),
        id3Frame(4, "TDRC",
            zeroed("\0"
                   "2016-05-31T17:01:35+02:00")));
}

TEST(Id3Change, WhatATagSaidOfAllItsFramesTheFramesSayThemselves)
{
    constexpr std::uint8_t Unsynchronised = 0x80;
    std::string picture = zeroed("\0image/png\0\4\0\xff\0\xe0");
    std::string file = id3Tag(4, id3Frame(4, "APIC", picture), Unsynchronised) + Sound;
    std::string made = edited(file, titleChange("New"));
    EXPECT_EQ(made[5], 0);
    EXPECT_EQ(framesOf(made), id3Frame(4, "APIC", picture, 2) + id3Frame(4, "TIT2", zeroed("\0New")));
}

TEST(Id3Change, ATagThatCannotBeReadWholeStays)
{
    std::string file = id3Tag(3, id3Frame(3, "TIT2", zeroed("\0Old"))) + Sound;
    file[3] = 7; // a version to come
    EXPECT_TRUE(edited(file, titleChange("New")).starts_with("error: "));
}

TEST(Id3Change, OldTagsSayNothingElse)
{
    std::string file = Sound + test::id3v1Tag({ .title = "Old", .artist = "Artist", .track = 3, .genre = 17 });
    TagChanges changes = titleChange("Tïtle");
    changes[TagKey::Genre] = TagChanges::Values { "Mine" };
    std::string made = edited(file, changes);
    auto tags = readTags(MemorySource(bytesOf(made)));
    ASSERT_TRUE(tags->id3v1);
    EXPECT_EQ(charsOf(tags->id3v1->title), "T\xEFtle");
    EXPECT_EQ(charsOf(tags->id3v1->artist), "Artist");
    EXPECT_EQ(tags->id3v1->track, 3);
    EXPECT_EQ(tags->id3v1->genre, 255);
    EXPECT_NE(framesOf(made).find("Artist"), std::string::npos) << "whoever reads the new tag reads no other";
}

/// An APE tag of texts, with a header.
std::string ape(std::initializer_list<std::pair<std::string, std::string>> texts)
{
    Bytes items;
    ByteWriter out(items);
    for (const auto& [name, text] : texts) {
        out.u32le(static_cast<std::uint32_t>(text.size()));
        out.u32le(0);
        out.text(name);
        out.u8(0);
        out.text(text);
    }
    auto end = [&](std::uint32_t flags) {
        Bytes bytes;
        ByteWriter mark(bytes);
        mark.text("APETAGEX");
        mark.u32le(2000);
        mark.u32le(static_cast<std::uint32_t>(items.size() + 32));
        mark.u32le(static_cast<std::uint32_t>(texts.size()));
        mark.u32le(flags);
        mark.zeros(8);
        return std::string(charsOf(bytes));
    };
    return end(0xA0000000) + std::string(charsOf(items)) + end(0x80000000);
}

// What is cut at thirty letters does not come in front of what is whole.
TEST(Id3Change, ANewTagHasWhatTheOthersSayInTheirOrder)
{
    std::string v1 = test::id3v1Tag({ .title = "Old", .artist = "A name that is lon", .track = 3, .genre = 17 });
    std::string made
        = edited(Sound + ape({ { "Artist", "A name that is long" }, { "Track", "7/12" } }) + v1, titleChange("New"));
    EXPECT_EQ(framesOf(made),
        id3Frame(4, "TIT2", zeroed("\0New")) + id3Frame(4, "TPE1", zeroed("\0A name that is long"))
            + id3Frame(4, "TCON", zeroed("\0Rock")) + id3Frame(4, "TRCK", zeroed("\0") + "7/12"));
}

TEST(Id3Change, TextsOfAnOldTagHaveOneCharset)
{
    std::string v1 = test::id3v1Tag({ .title = "Gr\xFC\xDF"
                                               "e",
        .artist = "Die \xC4rzte" });
    TagChanges genre;
    genre[TagKey::Genre] = TagChanges::Values { "Rock" };
    std::string frames = framesOf(edited(Sound + v1, genre));
    EXPECT_NE(frames.find("\3Grüße"), std::string::npos);
    EXPECT_NE(frames.find("\3Die Ärzte"), std::string::npos);
}

TEST(Id3Change, WhatOnlyGoesMakesNoTag)
{
    std::string v1 = test::id3v1Tag({ .title = "Old", .artist = "Artist" });
    std::string without = test::id3v1Tag({ .title = "", .artist = "Artist" });
    EXPECT_TRUE(edited(Sound + v1, titleChange("")) == Sound + without);
    EXPECT_TRUE(
        edited(id3Tag(4, id3Frame(4, "TIT2", zeroed("\0Old"))) + Sound + v1, titleChange("")) == Sound + without);
}

TEST(Id3Change, ThePlaceOfAnOldTagKeepsItsOtherHalf)
{
    std::string file = id3Tag(4, id3Frame(4, "TALB", zeroed("\0A"))) + Sound + ape({ { "Track", "7/12" } });
    TagChanges changes;
    changes[TagKey::Track] = TagChanges::Values { "8" };
    EXPECT_NE(framesOf(edited(file, changes)).find("8/12"), std::string::npos);
}

TEST(Id3Change, OfTwoTagsTheFirstCounts)
{
    for (int version : { 3, 4 }) {
        std::string first = id3Frame(version, "TIT2", zeroed("\0T")) + id3Frame(version, "TPE1", zeroed("\0A"));
        std::string second = id3Frame(version, "TPE1", zeroed("\0B")) + id3Frame(version, "TCOM", zeroed("\0C"));
        TagChanges changes;
        changes[TagKey::Album] = TagChanges::Values { "L" };
        EXPECT_EQ(framesOf(edited(id3Tag(version, first) + id3Tag(version, second) + Sound, changes)),
            first + id3Frame(version, "TCOM", zeroed("\0C")) + id3Frame(version, "TALB", zeroed("\0L")))
            << version;
    }
}

TEST(Id3Change, OfTwoTagsOfDifferentVersionsTheFirstCountsToo)
{
    const std::string old = id3Tag(3, id3Frame(3, "TIT2", zeroed("\0T3")) + id3Frame(3, "TYER", zeroed("\0") + "1990"));
    const std::string later = id3Tag(4,
        id3Frame(4, "TIT2", zeroed("\0T4")) + id3Frame(4, "TDRC", zeroed("\0") + "2004-01-02")
            + id3Frame(4, "TCOM", zeroed("\0C")));
    TagChanges changes;
    changes[TagKey::Album] = TagChanges::Values { "L" };
    const std::string both = id3Frame(3, "TCOM", zeroed("\0C")) + id3Frame(3, "TALB", zeroed("\0L"));
    EXPECT_EQ(framesOf(edited(old + later + Sound, changes)),
        id3Frame(3, "TIT2", zeroed("\0T3")) + id3Frame(3, "TYER", zeroed("\0") + "1990") + both);
    const std::string frames = framesOf(edited(later + old + Sound, changes));
    EXPECT_NE(frames.find("2004"), std::string::npos);
    EXPECT_EQ(frames.find("1990"), std::string::npos);
    EXPECT_EQ(frames.find("T3"), std::string::npos);
}

// A day without a year says nothing, and is none of another tag's year.
TEST(Id3Change, TheDateOfOneTagIsWhole)
{
    TagChanges changes;
    changes[TagKey::Album] = TagChanges::Values { "L" };
    const std::string day = id3Tag(3, id3Frame(3, "TDAT", zeroed("\0") + "0102"));
    const std::string year = id3Frame(3, "TYER", zeroed("\0") + "2004");
    const std::string dayOfYear = id3Frame(3, "TDAT", zeroed("\0") + "0605");
    const std::string album = id3Frame(3, "TALB", zeroed("\0L"));
    EXPECT_EQ(framesOf(edited(day + id3Tag(3, year + dayOfYear) + Sound, changes)), year + dayOfYear + album);
    const std::string stamp = id3Tag(4, id3Frame(4, "TDRC", zeroed("\0") + "2004-05-06"));
    const std::string frames = framesOf(edited(day + stamp + Sound, changes));
    EXPECT_NE(frames.find("2004"), std::string::npos);
    EXPECT_NE(frames.find("0605"), std::string::npos);
    EXPECT_EQ(frames.find("0102"), std::string::npos);
}

TEST(Id3Change, PeopleOfTagsOfDifferentVersionsAreOneList)
{
    TagChanges changes;
    changes[TagKey::Album] = TagChanges::Values { "L" };
    const std::string frames = framesOf(edited(id3Tag(3, id3Frame(3, "IPLS", zeroed("\0producer\0Ann\0")))
            + id3Tag(4, id3Frame(4, "TIPL", zeroed("\0mixer\0Bob\0"))) + Sound,
        changes));
    EXPECT_EQ(frames.find("IPLS"), frames.rfind("IPLS"));
    EXPECT_NE(frames.find("Ann"), std::string::npos);
    EXPECT_NE(frames.find("Bob"), std::string::npos);
}

// Unsynchronised texts are texts.
TEST(Id3Change, OfTwoUnsynchronisedTagsTheFirstCounts)
{
    constexpr int Unsynchronised = 0x80;
    TagChanges changes;
    changes[TagKey::Album] = TagChanges::Values { "L" };
    const std::string frames = framesOf(edited(id3Tag(4, id3Frame(4, "TIT2", zeroed("\0First")), Unsynchronised)
            + id3Tag(4, id3Frame(4, "TIT2", zeroed("\0Second"))) + Sound,
        changes));
    EXPECT_NE(frames.find("First"), std::string::npos);
    EXPECT_EQ(frames.find("Second"), std::string::npos);
}

TEST(Id3Change, AConvertedTagHasWhatOnlyOldOnesSay)
{
    std::string v1 = test::id3v1Tag({ .title = "Old", .artist = "Artist", .track = 3, .genre = 17 });
    std::string empty = id3Frame(2, "TT2", zeroed("\0\0")) + id3Frame(2, "TAL", zeroed("\0Album"));
    TagChanges changes;
    changes[TagKey::Composer] = TagChanges::Values { "C" };
    const std::string frames = framesOf(edited(id3Tag(2, empty) + Sound + v1, changes));
    EXPECT_NE(frames.find(id3Frame(3, "TIT2", zeroed("\0Old"))), std::string::npos);
    EXPECT_NE(frames.find(id3Frame(3, "TPE1", zeroed("\0Artist"))), std::string::npos);
    EXPECT_NE(frames.find(id3Frame(3, "TALB", zeroed("\0Album"))), std::string::npos);
}

// What is read of the end alone, nobody reads any more who finds a tag at the front.
TEST(Id3Change, ANewTagOfOneAtTheEndHasWhatOnlyOldOnesSay)
{
    std::string end
        = test::id3TagWithFooter(id3Frame(4, "TPE1", zeroed("\0Artist")) + id3Frame(4, "TRCK", zeroed("\0") + "4"));
    std::string v1 = test::id3v1Tag({ .title = "Old", .artist = "Another", .track = 3, .genre = 17 });
    EXPECT_EQ(framesOf(edited(Sound + end + v1, titleChange("New"))),
        id3Frame(4, "TPE1", zeroed("\0Artist")) + id3Frame(4, "TRCK", zeroed("\0") + "4")
            + id3Frame(4, "TIT2", zeroed("\0New")) + id3Frame(4, "TCON", zeroed("\0Rock")));
}

TEST(Id3Change, AnAddressInPlaceOfAPictureIsNoCover)
{
    const std::string link = id3Frame(3, "APIC", zeroed("\0-->\0\3\0http://a/b.jpg"));
    const std::string picture = id3Frame(3, "APIC", zeroed("\0image/png\0\3\0x"));
    TagChanges removal;
    removal.frontCover = Bytes();
    EXPECT_EQ(framesOf(edited(id3Tag(3, link + picture) + Sound, removal)), link);
    EXPECT_EQ(framesOf(edited(id3Tag(3, link) + Sound, removal)), link);
}

// Nor does a frame that says nothing hide one that does.
TEST(Id3Change, AnEmptyFrameOfTheFirstTagHidesNothing)
{
    std::string empty = id3Frame(4, "TIT2", zeroed("\0")) + id3Frame(4, "TYER", zeroed("\0"));
    std::string second = id3Frame(4, "TIT2", zeroed("\0Real")) + id3Frame(4, "APIC", zeroed("\0image/png\0\3\0x"));
    TagChanges changes;
    changes[TagKey::Album] = TagChanges::Values { "L" };
    std::string frames = framesOf(edited(id3Tag(4, empty) + id3Tag(4, second) + Sound, changes));
    EXPECT_NE(frames.find("Real"), std::string::npos);
    EXPECT_NE(frames.find("image/png"), std::string::npos);
    // A day belongs to its year.
    const std::string first = id3Frame(3, "TYER", zeroed("\0") + "2010");
    const std::string other = id3Frame(3, "TYER", zeroed("\0") + "2009") + id3Frame(3, "TDAT", zeroed("\0") + "0405");
    EXPECT_EQ(framesOf(edited(id3Tag(3, first) + id3Tag(3, other) + Sound, changes)),
        first + id3Frame(3, "TALB", zeroed("\0L")));
}

std::string lyrics3(const std::string& fields)
{
    std::string block = "LYRICSBEGIN" + fields;
    return block + formatText("%06zu", block.size()) + "LYRICS200";
}

TEST(Id3Change, TextsOfLyrics3SayNothingElse)
{
    const std::string v1 = "TAG" + std::string(124, '\0') + '\xFF';
    const std::string title = "ETT00003Old";
    const std::string rest = "IND0000210LYR00002la";
    const std::string file = Sound + lyrics3(rest + title) + v1;
    std::string made = edited(file, titleChange("New"));
    EXPECT_TRUE(made.ends_with(Sound + lyrics3(rest) + v1.substr(0, 3) + "New" + v1.substr(6)));
    EXPECT_TRUE(edited(file, titleChange("")) == Sound + lyrics3(rest) + v1);
    EXPECT_TRUE(edited(Sound + lyrics3(title) + v1, titleChange("")) == Sound + v1);
    TagChanges album;
    album[TagKey::Album] = { "Album" };
    EXPECT_NE(edited(file, album).find(lyrics3(rest + title)), std::string::npos);
    // One that cannot be read stays.
    const std::string odd = lyrics3("ETT0000xOld");
    EXPECT_TRUE(edited(Sound + odd + v1, titleChange("")) == Sound + odd + v1);
}

} // namespace
} // namespace mv
