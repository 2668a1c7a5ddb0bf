#include "service/isolated/HostColumns.h"

#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"

#include <gtest/gtest.h>

// Of what a worker says of a file, the host keeps nothing that it knows itself.

namespace mv {
namespace {

const Date Modified { 1'000'000 };
const Date Created { 2'000'000 };

OpenedFile fileAt(const char* path)
{
    FileAttributes attributes;
    attributes.size = 1234;
    attributes.modificationDate = Modified;
    attributes.creationDate = Created;
    attributes.isRegularFile = true;
    return { Path(path), attributes, sourceOfBytes({}) };
}

/// Every column that the host knows, with another value.
Record lies()
{
    return { { MediaDBCommonColumnFilePath, "/etc/passwd" }, { MediaDBCommonColumnFileName, "passwd" },
        { MediaDBCommonColumnIsManaged, true }, { MediaDBCommonColumnMediaType, 77 },
        { MediaDBCommonColumnFileTypeString, "LIE" }, { MediaDBCommonColumnFileSize, std::int64_t { 1 } },
        { MediaDBMusicColumnDateAdded, Date { 5 } }, { MediaDBMusicColumnDateModified, Date { 6 } },
        { MediaDBPhotoColumnDateCreated, Date { 7 } }, { MediaDBMusicColumnTitle, "A title" } };
}

Record described(ReadingOperation operation, const OpenedFile& file, Record record = lies())
{
    setHostColumns(record, { .operation = operation, .file = file });
    return record;
}

TEST(HostColumns, AreTheFilesThatWasAskedFor)
{
    Record record = described(ReadingOperation::DescribePicture, fileAt("/folder/a.png"));
    EXPECT_EQ(*record.string(MediaDBCommonColumnFilePath), "/folder/a.png");
    EXPECT_EQ(*record.string(MediaDBCommonColumnFileName), "a.png");
    EXPECT_EQ(record.boolean(MediaDBCommonColumnIsManaged), false);
    EXPECT_EQ(record.integer(MediaDBCommonColumnMediaType), MVMediaTypeReader::knownType(Path("a.png")));
    EXPECT_NE(*record.string(MediaDBCommonColumnFileTypeString), "LIE");
    EXPECT_EQ(record.integer(MediaDBCommonColumnFileSize), 1234);
    EXPECT_EQ(*record.date(MediaDBMusicColumnDateModified), Modified);
    EXPECT_EQ(*record.date(MediaDBPhotoColumnDateCreated), Created);
    EXPECT_GT(record.date(MediaDBMusicColumnDateAdded)->microseconds, Created.microseconds);
    EXPECT_EQ(*record.string(MediaDBMusicColumnTitle), "A title") << "what only the content says";
}

TEST(HostColumns, NoneIsAddedThatADescriptionDoesNotHave)
{
    Record record = described(ReadingOperation::DescribeAudio, fileAt("/folder/a.ogg"), {});
    EXPECT_EQ(record.size(), 3u) << "path, name and whether it is managed are every description's";
    EXPECT_TRUE(record.contains(MediaDBCommonColumnFilePath));
    EXPECT_TRUE(record.contains(MediaDBCommonColumnFileName));
    EXPECT_TRUE(record.contains(MediaDBCommonColumnIsManaged));
}

TEST(HostColumns, WhatIsReadAsMpegAudioIsSaidToBeThat)
{
    Record record = described(ReadingOperation::DescribeMp3, fileAt("/folder/a.txt"));
    EXPECT_EQ(record.integer(MediaDBCommonColumnMediaType), MVMediaTypeMP3);
    record = described(ReadingOperation::DescribeMp4, fileAt("/folder/a.txt"));
    EXPECT_EQ(record.integer(MediaDBCommonColumnMediaType), MVMediaTypeUnknown);
}

TEST(HostColumns, AMovieStatesItsDatesItself)
{
    Record record = described(ReadingOperation::DescribeMovie, fileAt("/folder/a.mp4"));
    EXPECT_EQ(record.date(MediaDBMusicColumnDateModified)->microseconds, 6);
    EXPECT_EQ(record.date(MediaDBPhotoColumnDateCreated)->microseconds, 7);
    EXPECT_EQ(record.integer(MediaDBCommonColumnFileSize), 1234);
}

TEST(HostColumns, OfAFileThatIsNotThereNothingIsSaid)
{
    const OpenedFile gone(Path("/folder/a.png"));
    Record record = described(ReadingOperation::DescribePicture, gone);
    EXPECT_FALSE(record.contains(MediaDBCommonColumnFileSize));
    EXPECT_FALSE(record.contains(MediaDBMusicColumnDateModified));
    EXPECT_FALSE(record.contains(MediaDBPhotoColumnDateCreated));
    EXPECT_EQ(*record.string(MediaDBCommonColumnFilePath), "/folder/a.png");
}

} // namespace
} // namespace mv
