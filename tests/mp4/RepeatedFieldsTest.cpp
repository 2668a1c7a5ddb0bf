// What says again what the list of items says, and how an edit takes it out.
#include "mp4/RepeatedFields.h"

#include "mp4/KeyedItems.h"
#include "tests/mp4/EditedFile.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace test;

constexpr std::uint32_t Title = fourCC("\251nam");
constexpr std::uint32_t Day = fourCC("\251day");

/// Every place of a title and of a date, beside others.
Mp4Spec everywhere()
{
    Mp4Spec spec = namedSpec();
    Bytes inUserData = keyedMetadata({ { "title", "old of user data" }, { "artist", "kept artist" } });
    Bytes quickTime = box("\251nam", { number(9, 2), number(0, 2), bytes("old quick") });
    Bytes mobile = fullBox("titl", 0, 0, { number(0x55C4, 2), bytes("old mobile"), Bytes(1) });
    Bytes year = fullBox("yrrc", 0, 0, { number(1999, 2) });
    Bytes own = keyedMetadata({ { "com.apple.quicktime.make", "Phone" }, { "com.apple.quicktime.title", "old key" },
        { "com.apple.quicktime.displayname", "old shown" }, { "com.apple.quicktime.creationdate", "2010-05-01" } });
    spec.extraInMovie = joined({ box("udta", { inUserData, quickTime, mobile, year, Bytes(4) }), own });
    return spec;
}

MetadataEdit namingAlone(const std::string& name, std::vector<std::uint32_t> alone)
{
    auto change = [name](const MP4ItmfItemList& before) {
        MP4Tags tags = tagsFromItems(before);
        MP4TagsSetName(tags, name);
        return itemsWithTags(before, tags);
    };
    return MetadataEdit(change, std::move(alone));
}

std::size_t countOf(const Bytes& file, std::string_view text)
{
    std::size_t count = 0;
    for (std::size_t at = 0; (at = charsOf(file).find(text, at)) != std::string_view::npos; ++at)
        ++count;
    return count;
}

TEST(KeyedItems, OfTheMovieAndOfItsUserData)
{
    Bytes file = makeMp4(everywhere()).bytes;
    StructureReader reader { ByteView(file) };
    auto facts = readMovieFacts(reader);
    ASSERT_TRUE(facts);
    std::string keys;
    for (const KeyedItem& item : keyedItems(reader, facts->metaBox, facts->userDataBoxes))
        keys += item.key + " ";
    EXPECT_EQ(keys, "make title displayname creationdate title artist ");
}

TEST(RepeatedFields, AreKeysAndTextsOfUserData)
{
    Bytes file = makeMp4(everywhere()).bytes;
    StructureReader reader { ByteView(file) };
    auto movie = findMovieBox(reader, 0);
    ASSERT_TRUE(movie);
    auto count
        = [&](std::initializer_list<std::uint32_t> items) { return repeatedFields(reader, *movie, items).size(); };
    EXPECT_EQ(count({ Title }), 5u);
    EXPECT_EQ(count({ Day }), 1u); // the moment of the recording stays
    EXPECT_EQ(count({ Title, Day }), 6u);
    EXPECT_EQ(count({ fourCC("\251gen") }), 0u);
    EXPECT_EQ(count({}), 0u);
}

TEST(RepeatedFields, AnEditLeavesTheNewTitleAlone)
{
    const MadeMp4 made = makeMp4(everywhere());
    for (const std::string& name : { std::string("new"), std::string(3000, 'n') }) {
        Edited once = edited(made.bytes, namingAlone(name, { Title }));
        EXPECT_NE(once.layout, Layout::Unchanged);
        EXPECT_EQ(countOf(once.bytes, "old"), 0u);
        EXPECT_EQ(countOf(once.bytes, "kept artist"), 1u);
        EXPECT_EQ(countOf(once.bytes, "Phone"), 1u);
        EXPECT_EQ(countOf(once.bytes, "2010-05-01"), 1u);
        EXPECT_EQ(edited(once.bytes, namingAlone(name, { Title })).layout, Layout::Unchanged);
    }
}

TEST(RepeatedFields, GoWhereTheListStaysAsItIs)
{
    Mp4Spec spec = everywhere();
    const MadeMp4 made = makeMp4(spec);
    auto same = [](const MP4ItmfItemList& before) { return before; };
    Edited without = edited(made.bytes, MetadataEdit(same, { Title }));
    EXPECT_EQ(without.layout, Layout::InPlace);
    EXPECT_EQ(countOf(without.bytes, "old"), 0u);
    EXPECT_EQ(without.bytes.size(), made.bytes.size());
    EXPECT_EQ(edited(made.bytes, MetadataEdit(same)).layout, Layout::Unchanged);
    EXPECT_EQ(edited(made.bytes, MetadataEdit(same, { fourCC("\251gen") })).layout, Layout::Unchanged);
}

TEST(RepeatedFields, StayWhereNobodyAsks)
{
    Edited once = edited(makeMp4(everywhere()).bytes, namingAlone("new", {}));
    EXPECT_EQ(countOf(once.bytes, "old"), 5u);
}

} // namespace
} // namespace mv
