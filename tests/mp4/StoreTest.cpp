// Storing tags of a file that is open.
#include "tests/mp4/EditedFile.h"
#include "tests/support/Scratch.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace mv {
namespace {

using namespace test;

TEST(Store, WritesAtCloseOnly)
{
    ScratchFolder folder;
    MadeMp4 made = makeMp4(namedSpec());
    std::string path = folder.write("song.m4a", ByteView(made.bytes));
    auto file = MP4Modify(path, 0);
    ASSERT_TRUE(file.ok());
    MP4Tags tags = MP4TagsAlloc();
    ASSERT_TRUE(MP4TagsFetch(tags, *file));
    MP4TagsSetName(tags, "stored");
    ASSERT_TRUE(MP4TagsStore(tags, *file).ok());
    EXPECT_EQ(readFile(path), made.bytes);
    ASSERT_NE(file->plan(), nullptr);
    EXPECT_TRUE(MP4Close(std::move(*file), 0).ok());
    auto again = MP4Read(path);
    ASSERT_TRUE(again.ok());
    EXPECT_EQ(tagsFromItems(again->items()).name, "stored");
    EXPECT_EQ(tagsFromItems(again->items()).artist, "artist");
}

TEST(Store, NothingIsWrittenWithoutAChangeOrWithoutAClose)
{
    ScratchFolder folder;
    MadeMp4 made = makeMp4(namedSpec());
    std::string path = folder.write("song.m4a", ByteView(made.bytes));
    struct stat before { };
    ASSERT_EQ(stat(path.c_str(), &before), 0);
    {
        auto file = MP4Modify(path, 0);
        MP4Tags tags;
        MP4TagsFetch(tags, *file);
        ASSERT_TRUE(MP4TagsStore(tags, *file).ok());
        EXPECT_EQ(file->plan(), nullptr);
        EXPECT_TRUE(MP4Close(std::move(*file), 0).ok());
    }
    {
        auto file = MP4Modify(path, 0);
        MP4Tags tags;
        MP4TagsSetName(tags, "never written");
        ASSERT_TRUE(MP4TagsStore(tags, *file).ok());
    }
    struct stat after { };
    ASSERT_EQ(stat(path.c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(readFile(path), made.bytes);
}

TEST(Store, NeedsAFileOpenedForModification)
{
    ScratchFolder folder;
    std::string path = folder.write("song.m4a", ByteView(makeMp4(namedSpec()).bytes));
    auto file = MP4Read(path);
    MP4Tags tags;
    auto stored = MP4TagsStore(tags, *file);
    ASSERT_FALSE(stored.ok());
    EXPECT_EQ(stored.error().kind, Error::Kind::State);
}

TEST(Store, ASecondOneStartsFromTheFirst)
{
    ScratchFolder folder;
    std::string path = folder.write("song.m4a", ByteView(makeMp4(namedSpec()).bytes));
    auto file = MP4Modify(path, 0);
    MP4Tags tags;
    MP4TagsFetch(tags, *file);
    MP4TagsSetAlbum(tags, "album");
    ASSERT_TRUE(MP4TagsStore(tags, *file).ok());
    MP4TagsFetch(tags, *file);
    EXPECT_EQ(tags.album, "album");
    MP4TagsSetGenre(tags, "Rock");
    ASSERT_TRUE(MP4TagsStore(tags, *file).ok());
    ASSERT_TRUE(MP4Close(std::move(*file), 0).ok());
    auto again = MP4Read(path);
    EXPECT_EQ(tagsFromItems(again->items()).album, "album");
    EXPECT_EQ(tagsFromItems(again->items()).genre, "Rock");
}

} // namespace
} // namespace mv
