#include "service/tagedit/Mp4Change.h"

#include "tests/service/tagedit/EditedBytes.h"
#include "tests/support/Mp4Maker.h"

#include <gtest/gtest.h>

namespace mv::test {
namespace {

/// A movie that has a title and an artist under QuickTime's keys alone.
std::string keyedMovie()
{
    Mp4Spec spec;
    spec.hasUserData = false;
    spec.extraInMovie = box("udta", keyedMetadata({ { "title", "Old Title" }, { "artist", "Old Artist" } }));
    spec.inFront = box("ftyp", bytes(std::string_view("isom\0\0\0\0", 8)));
    return std::string(charsOf(makeMp4(spec).bytes));
}

TEST(Mp4Change, NoOldTitleIsLeftUnderAKey)
{
    std::string file = edited(keyedMovie(), titleChange("New Title"));
    EXPECT_NE(file.find("New Title"), std::string::npos);
    EXPECT_EQ(file.find("Old Title"), std::string::npos);
    EXPECT_NE(file.find("Old Artist"), std::string::npos);
}

TEST(Mp4Change, ATitleThatStandsUnderAKeyAloneIsRemoved)
{
    std::string file = edited(keyedMovie(), titleChange(""));
    EXPECT_EQ(file.find("Old Title"), std::string::npos);
    EXPECT_NE(file.find("Old Artist"), std::string::npos);
    EXPECT_EQ(edited(file, titleChange("")), file);
}

TEST(Mp4Change, WhatIsNewStandsBehindAFreeformItemOfThatName)
{
    auto freeform = [](std::string name) {
        return MP4ItmfItem {
            .code = fourCC("----"), .mean = "com.apple.iTunes", .name = std::move(name), .dataList = { {} }
        };
    };
    constexpr std::uint32_t Title = fourCC("\251nam");
    constexpr std::uint32_t Artist = fourCC("\251ART");
    constexpr std::uint32_t Track = fourCC("trkn");
    auto item = [](std::uint32_t code) { return MP4ItmfItem { .code = code, .dataList = { {} } }; };
    const MP4ItmfItemList before
        = { item(Track), item(Title), freeform("TITLE"), freeform("Track"), freeform("ISRC"), item(Artist) };
    TagChanges changes;
    changes[TagKey::Title] = { "New" };
    changes[TagKey::Track] = { "3" };
    changes[TagKey::Artist] = { "A" };
    std::string order;
    for (const MP4ItmfItem& each : changedItems(before, changes)) {
        order += each.code == Title ? "nam" : each.code == Artist ? "ART" : each.code == Track ? "trkn" : each.name;
        order += " ";
    }
    EXPECT_EQ(order, "TITLE nam Track trkn ISRC ART ");
}

TEST(Mp4Change, WhatIsNotNamedStaysUnderItsKey)
{
    TagChanges changes;
    changes[TagKey::Genre] = { "Pop" };
    std::string file = edited(keyedMovie(), changes);
    EXPECT_NE(file.find("Old Title"), std::string::npos);
    EXPECT_NE(file.find("Old Artist"), std::string::npos);
}

} // namespace
} // namespace mv::test
