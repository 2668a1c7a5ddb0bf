#include "Base/Media/DescribedFile.h"

#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

TEST(DescribedFile, PathColumns)
{
    Record record;
    setPathColumns(record, "/m/한 곡.mp3");
    EXPECT_EQ(record, (Record { { "FilePath", "/m/한 곡.mp3" }, { "FileName", "한 곡.mp3" }, { "IsManaged", false } }));
}

TEST(DescribedFile, MediaTypeColumns)
{
    Record record;
    setMediaTypeColumns(record, MVMediaTypeM4A);
    EXPECT_EQ(record, (Record { { "MediaType", 0x01000020 }, { "FileTypeString", "M4A" } }));
}

TEST(DescribedFile, NewMusicColumns)
{
    Date before = Date::now();
    Record record;
    setNewMusicColumns(record);
    EXPECT_EQ(record.integer(MediaDBMusicColumnPlayCount), 0);
    EXPECT_EQ(record.integer(MediaDBMusicColumnRating), 0);
    EXPECT_EQ(record.integer(MediaDBMusicColumnAlbumRating), 0);
    ASSERT_NE(record.date(MediaDBMusicColumnDateAdded), nullptr);
    EXPECT_GE(*record.date(MediaDBMusicColumnDateAdded), before);
    EXPECT_LE(*record.date(MediaDBMusicColumnDateAdded), Date::now());
}

} // namespace
} // namespace mv
