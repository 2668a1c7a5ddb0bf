#include "service/tagedit/VorbisChange.h"
#include "tests/service/tagedit/EditedBytes.h"

#include <gtest/gtest.h>
#include <vector>

namespace mv {
namespace {

using test::littleEndian;
using test::titleChange;

std::string list(const std::vector<std::string>& comments, const std::string& behind = {})
{
    std::string bytes = littleEndian(6) + "vendor" + littleEndian(static_cast<std::uint32_t>(comments.size()));
    for (const std::string& comment : comments)
        bytes += littleEndian(static_cast<std::uint32_t>(comment.size())) + comment;
    return bytes + behind;
}

std::string changed(const std::string& bytes, const TagChanges& changes, bool takesCover = true)
{
    auto result = changedVorbisComments(bytesOf(bytes), changes, takesCover);
    return result ? std::string(charsOf(*result)) : "error";
}

TEST(VorbisChange, OtherCommentsKeepTheirOrderAndBytes)
{
    std::string before
        = list({ "mood=Calm", "title=Old", "no equals sign", "Title=Another", "ARTIST=\xff\xfe" }, "\1more");
    EXPECT_EQ(changed(before, titleChange("New")),
        list({ "mood=Calm", "TITLE=New", "no equals sign", "ARTIST=\xff\xfe" }, "\1more"));
    EXPECT_EQ(changed(before, titleChange("")), list({ "mood=Calm", "no equals sign", "ARTIST=\xff\xfe" }, "\1more"));
}

TEST(VorbisChange, APlaceWithATotalIsTakenApart)
{
    TagChanges changes;
    changes[TagKey::Track] = TagChanges::Values { "5" };
    EXPECT_EQ(changed(list({ "TRACKNUMBER=3/12" }), changes), list({ "TRACKNUMBER=5", "TRACKTOTAL=12" }));
    EXPECT_EQ(changed(list({ "TRACKNUMBER=3" }), changes), list({ "TRACKNUMBER=5" }));
}

TEST(VorbisChange, TheFrontCoverAloneIsReplaced)
{
    // Types 4 and 3, and no picture.
    std::vector<std::string> pictures { "METADATA_BLOCK_PICTURE=AAAABAAA", "metadata_block_picture=AAAAAwAA" };
    TagChanges changes;
    changes.frontCover = Bytes();
    EXPECT_EQ(changed(list(pictures), changes), list({ pictures[0] }));
    changes.frontCover = Bytes { 0xFF, 0xD8, 0xFF };
    std::string made = changed(list(pictures), changes);
    EXPECT_NE(made.find(pictures[0]), std::string::npos);
    EXPECT_EQ(made.find(pictures[1]), std::string::npos);
    EXPECT_NE(made.find("METADATA_BLOCK_PICTURE=AAAAAwAAAAppbWFnZS9qcGVn"), std::string::npos);
    EXPECT_EQ(changed(list(pictures), changes, false), list({ pictures[0] })) << "FLAC has blocks for it";
}

TEST(VorbisChange, ACoverThatGoesElsewhereLeavesNoneBehind)
{
    std::vector<std::string> pictures { "COVERART=/9j/", "METADATA_BLOCK_PICTURE=AAAABAAA",
        "METADATA_BLOCK_PICTURE=AAAAAwAA", "METADATA_BLOCK_PICTURE=AAAAAwAB" };
    TagChanges changes;
    changes.frontCover = Bytes { 0xFF, 0xD8, 0xFF };
    EXPECT_EQ(changed(list(pictures), changes, false), list({ pictures[1] }));
    changes.frontCover = Bytes();
    EXPECT_EQ(changed(list(pictures), changes, false), list({ pictures[1], pictures[2], pictures[3] }));
}

TEST(VorbisChange, AListThatIsCutOffStays)
{
    std::string whole = list({ "TITLE=Old" });
    EXPECT_EQ(changed(whole.substr(0, whole.size() - 1), titleChange("New")), "error");
}

} // namespace
} // namespace mv
