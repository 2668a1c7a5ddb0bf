#include "system/InputFile.h"

#include "tests/support/Scratch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {
namespace {

TEST(InputFile, ReadsAtAnyPlace)
{
    test::ScratchFolder folder;
    auto file = InputFile::open(folder.write("a", "0123456789"));
    ASSERT_TRUE(file.ok());
    EXPECT_EQ(file->size(), 10u);
    EXPECT_EQ(charsOf(*file->bytesAt(3, 4)), "3456");
    Bytes buffer(8);
    EXPECT_EQ(*file->readAt(6, buffer), 4u) << "short only at the end";
}

TEST(InputFile, WhatItHasLostIsAnErrorAndNotItsEnd)
{
    test::ScratchFolder folder;
    std::string path = folder.write("a", "0123456789");
    auto file = InputFile::open(path);
    ASSERT_EQ(truncate(path.c_str(), 4), 0);
    Bytes buffer(8);
    EXPECT_EQ(*file->readAt(10, buffer), 0u) << "where the end was";
    EXPECT_EQ(file->readAt(6, buffer).error().kind, Error::Kind::Io);
    EXPECT_EQ(file->readAt(2, buffer).error().kind, Error::Kind::Io);
    EXPECT_EQ(charsOf(*file->bytesAt(0, 4)), "0123");
}

TEST(InputFile, CanBeHadForReadingOnly)
{
    test::ScratchFolder folder;
    std::string path = folder.write("a", "0123456789");
    // Of a file that has lost its name, too, as one in the making has none.
    auto file = InputFile::adopt(UniqueFd(open(path.c_str(), O_RDWR | O_CLOEXEC)));
    unlink(path.c_str());
    auto readable = file->openForReadingOnly();
    ASSERT_TRUE(readable.ok());
    EXPECT_EQ(fcntl(readable->get(), F_GETFL) & O_ACCMODE, O_RDONLY);
    EXPECT_EQ(charsOf(*InputFile::adopt(std::move(*readable))->bytesAt(0, 10)), "0123456789");
}

TEST(InputFile, RefusesLengthsPastTheEndBeforeAllocating)
{
    test::ScratchFolder folder;
    auto file = InputFile::open(folder.write("a", "0123456789"));
    EXPECT_FALSE(file->bytesAt(3, 8).ok());
    EXPECT_FALSE(file->bytesAt(11, 0).ok());
    EXPECT_FALSE(file->bytesAt(0, SIZE_MAX).ok());
}

TEST(InputFile, RefusesWhatIsNoRegularFile)
{
    test::ScratchFolder folder;
    ASSERT_EQ(mkfifo(folder.file("fifo").c_str(), 0600), 0);
    EXPECT_EQ(InputFile::open(folder.file("fifo")).error().kind, Error::Kind::Unsupported) << "and does not block";
    EXPECT_EQ(InputFile::open(folder.path()).error().kind, Error::Kind::Unsupported);
    EXPECT_EQ(InputFile::open("/dev/null").error().kind, Error::Kind::Unsupported);
    EXPECT_EQ(InputFile::open(folder.file("missing")).error().kind, Error::Kind::NotFound);
    EXPECT_EQ(InputFile::open(Path()).error().kind, Error::Kind::NotFound);
}

TEST(InputFile, WholeFileWithinItsLimit)
{
    test::ScratchFolder folder;
    std::string path = folder.write("a", "0123456789");
    EXPECT_EQ(readWholeFile(path, 10)->size(), 10u);
    EXPECT_EQ(readWholeFile(path, 9).error().kind, Error::Kind::Limit);
}

} // namespace
} // namespace mv
