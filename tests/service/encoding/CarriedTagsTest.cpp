#include "service/encoding/CarriedTags.h"

#include "facts/reading/Describe.h"
#include "tests/support/Mp3Maker.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace mv {
namespace {

using Texts = std::vector<std::string>;

Facts manyFacts()
{
    Facts facts;
    facts.set(fact::Title, std::string("제목"));
    facts.set(fact::Album, std::string("An album"));
    facts.set(fact::Artist, Texts { "AC/DC", "Another" });
    facts.set(fact::AlbumArtist, Texts { "Various" });
    facts.set(fact::Composer, Texts { "One", "Two" });
    facts.set(fact::Genre, Texts { "Rock", "Folk" });
    facts.set(fact::Comment, Texts { "so it is" });
    facts.set(fact::ContentCreated, std::string("2010-05-04"));
    facts.set(fact::TrackNumber, 3);
    facts.set(fact::TrackTotal, 12);
    facts.set(fact::DiscTotal, 2);
    facts.set(fact::AsText, std::string("la\nla"));
    facts.set(fact::AudioBpm, 120);
    facts.set(fact::Compilation, true);
    return facts;
}

TEST(CarriedTags, AllOfThemComeBackFromAnId3Tag)
{
    Facts facts = manyFacts();
    facts.pictures = { { 3, "image/png", "front", { 0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 1 } },
        { 4, "image/jpeg", "", { 0xFF, 0xD8, 0xFF, 2 } } };
    Bytes tag = id3TagOf(facts);
    std::string file = std::string(charsOf(tag)) + test::mpegFrames(50);
    auto read = describe(OpenedFile::ofBytes(Path("a.mp3"), bytesOf(file)), "a.mp3", { .pictures = true });
    ASSERT_TRUE(read.ok());
    for (const auto& [key, value] : facts.entries()) {
        const FactValue* found = read->find(key);
        ASSERT_TRUE(found) << key;
        EXPECT_TRUE(*found == value) << key;
    }
    EXPECT_EQ(read->pictures, facts.pictures);
}

TEST(CarriedTags, WhatIsNotKnownIsNotWritten)
{
    EXPECT_TRUE(id3TagOf({}).empty());
    EXPECT_TRUE(metadataItemsOf({}).empty());
    Facts facts;
    facts.set(fact::Title, std::string());
    facts.set(fact::Artist, Texts { "" });
    facts.set(fact::TrackNumber, 0);
    EXPECT_TRUE(id3TagOf(facts).empty());
    EXPECT_TRUE(metadataItemsOf(facts).empty());
}

TEST(CarriedTags, ANumberWithoutRoomIsNoSmallerOne)
{
    Facts facts;
    facts.set(fact::TrackNumber, 20160531);
    facts.set(fact::AudioBpm, 65536);
    EXPECT_TRUE(metadataItemsOf(facts).empty());
    EXPECT_NE(charsOf(id3TagOf(facts)).find("20160531"), std::string_view::npos);
}

TEST(CarriedTags, ADateKeepsWhatAFrameHasRoomFor)
{
    Facts facts;
    facts.set(fact::ContentCreated, std::string("2016-05-31T17:01:35+02:00"));
    std::string tag(charsOf(id3TagOf(facts)));
    EXPECT_NE(tag.find("2016-05-31T17:01:35"), std::string::npos);
    EXPECT_EQ(tag.find("+02:00"), std::string::npos);
}

TEST(CarriedTags, SeveralValuesAreValuesOfOneItem)
{
    MP4ItmfItemList items = metadataItemsOf(manyFacts());
    auto artists = std::ranges::find(items, fourCC("\251ART"), &MP4ItmfItem::code);
    ASSERT_NE(artists, items.end());
    ASSERT_EQ(artists->dataList.size(), 2u);
    EXPECT_EQ(charsOf(artists->dataList[0].value), "AC/DC");
    EXPECT_EQ(std::ranges::count(items, fourCC("trkn"), &MP4ItmfItem::code), 1);
    EXPECT_EQ(std::ranges::count(items, fourCC("covr"), &MP4ItmfItem::code), 0);
}

} // namespace
} // namespace mv
