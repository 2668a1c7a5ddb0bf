#include "Base/Core/Path.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

TEST(Path, LastComponent)
{
    EXPECT_EQ(Path("/music/song.mp3").lastPathComponent(), "song.mp3");
    EXPECT_EQ(Path("/music/song.mp3/").lastPathComponent(), "song.mp3");
    EXPECT_EQ(Path("song.mp3").lastPathComponent(), "song.mp3");
    EXPECT_EQ(Path("/").lastPathComponent(), "/");
    EXPECT_EQ(Path("").lastPathComponent(), "");
    EXPECT_EQ(Path().lastPathComponent(), "");
}

TEST(Path, ExtensionIsTheTextAfterTheLastDotOfTheLastComponent)
{
    EXPECT_EQ(Path("/x/archive.tar.mp4").pathExtension(), "mp4");
    EXPECT_EQ(Path("/x.y/noext").pathExtension(), "");
    EXPECT_EQ(Path("/x/.flac").pathExtension(), "flac");
    EXPECT_EQ(Path("/x/end.").pathExtension(), "");
    EXPECT_EQ(Path("/x/trailing.mp3 ").pathExtension(), "mp3 ");
}

TEST(Path, ComponentWithoutExtension)
{
    EXPECT_EQ(Path("/x/a.b.jpg").lastPathComponentWithoutExtension(), "a.b");
    EXPECT_EQ(Path("/x/noext").lastPathComponentWithoutExtension(), "noext");
}

TEST(Path, Directory)
{
    EXPECT_EQ(Path("/music/song.mp3").directory(), "/music");
    EXPECT_EQ(Path("/song.mp3").directory(), "/");
    EXPECT_EQ(Path("song.mp3").directory(), "");
    EXPECT_EQ(Path("/music/folder/").directory(), "/music");
}

TEST(Path, AppendingPutsOneSlash)
{
    EXPECT_EQ(Path("/a").appending("b").text(), "/a/b");
    EXPECT_EQ(Path("/a/").appending("b").text(), "/a/b");
    EXPECT_EQ(Path("/").appending("b").text(), "/b");
}

TEST(Path, NilIsNotEmpty)
{
    EXPECT_TRUE(Path().isNil());
    EXPECT_FALSE(Path("").isNil());
    EXPECT_EQ(Path().text(), "");
}

} // namespace
} // namespace mv
