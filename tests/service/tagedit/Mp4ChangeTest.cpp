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
