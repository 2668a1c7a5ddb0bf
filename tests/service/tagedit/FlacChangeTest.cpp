#include "service/tagedit/FlacChange.h"
#include "tests/service/tagedit/EditedBytes.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using test::edited;
using test::titleChange;

constexpr std::size_t MaxBlock = 0xFFFFFF;
const std::string Sound = "\xff\xf8 a frame";

std::string block(int type, const std::string& body)
{
    std::string bytes(1, static_cast<char>(type));
    for (int shift = 16; shift >= 0; shift -= 8)
        bytes += static_cast<char>(body.size() >> shift & 0xFF);
    return bytes + body;
}

/// With one block of padding each of those sizes.
std::string flac(std::initializer_list<std::size_t> paddings)
{
    std::string file = "fLaC" + block(0, std::string(34, '\1'));
    for (std::size_t size : paddings)
        file += block(1, std::string(size, '\0'));
    file[file.size() - (paddings.end()[-1] + 4)] = static_cast<char>(0x81);
    return file + Sound;
}

TEST(FlacChange, TheSoundStaysWhereThePaddingHasRoom)
{
    const std::string file = flac({ 1000, 24 });
    std::string made = edited(file, titleChange("New"));
    EXPECT_NE(made.find("TITLE=New"), std::string::npos);
    EXPECT_EQ(made.size(), file.size());
    EXPECT_TRUE(made.ends_with(Sound));
    EXPECT_EQ(edited(made, titleChange("")).size(), file.size());
}

TEST(FlacChange, AnyRoomBecomesPadding)
{
    const std::string title = "TITLE=New";
    const std::string small = edited(flac({ 1000 }), titleChange("New"));
    const std::size_t comments = small.find(title) + title.size() - (flac({ 0 }).size() - Sound.size() - 4);
    // What is left is one block's most, and up to four bytes more, which are no other block.
    for (std::size_t more = comments - 4; more <= comments; ++more) {
        const std::string file = flac({ MaxBlock, more });
        std::string made = edited(file, titleChange("New"));
        ASSERT_FALSE(made.starts_with("error")) << more << " " << made;
        EXPECT_LE(made.size(), file.size());
        EXPECT_TRUE(made.ends_with(Sound));
    }
}

TEST(FlacChange, WithoutCommentsThereIsNothingToRemove)
{
    const std::string file = flac({ 1000, 24 });
    EXPECT_TRUE(edited(file, titleChange("")) == file);
    TagChanges cover;
    cover.frontCover = Bytes();
    EXPECT_TRUE(edited(file, cover) == file);
}

std::string comments(const std::string& comment)
{
    return test::littleEndian(1) + "v" + test::littleEndian(1)
        + test::littleEndian(static_cast<std::uint32_t>(comment.size())) + comment;
}

// There should be one block; where there are two, both are read.
TEST(FlacChange, WhatASecondBlockSaysOfAKeyGoesToo)
{
    std::string file = flac({ 1000 });
    file.insert(
        42, block(4, comments("TITLE=First")) + block(4, comments("title=Second")) + block(4, comments("ALBUM=A")));
    for (const char* title : { "New", "" }) {
        std::string made = edited(file, titleChange(title));
        EXPECT_EQ(made.find("First"), std::string::npos);
        EXPECT_EQ(made.find("Second"), std::string::npos);
        EXPECT_NE(made.find("ALBUM=A"), std::string::npos);
        EXPECT_EQ(made.find("TITLE=New") != std::string::npos, *title != 0);
        EXPECT_EQ(made.size(), file.size());
    }
}

TEST(FlacChange, EachBlockOfCommentsLosesItsCover)
{
    const std::string cover = "METADATA_BLOCK_PICTURE=AAAAAwAAAAA=";
    std::string file = flac({ 1000 });
    file.insert(42, block(4, comments(cover)) + block(4, comments(cover)));
    TagChanges removal;
    removal.frontCover = Bytes();
    EXPECT_EQ(edited(file, removal).find("METADATA"), std::string::npos);
}

TEST(FlacChange, ABlockThatEndsBehindTheFileIsDamage)
{
    std::string file = flac({ 1000 });
    file.resize(file.size() - Sound.size() - 500);
    EXPECT_EQ(edited(file, titleChange("New")), "error: the blocks in front of the sound cannot be read whole");
}

} // namespace
} // namespace mv
