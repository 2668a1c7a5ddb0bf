#include "platform/NSFileManager.h"

#include "tests/support/Scratch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {
namespace {

TEST(NSFileManager, AttributesOfAFile)
{
    test::ScratchFolder folder;
    std::string path = folder.write("a", "12345");
    timespec times[2] = { { 1'000'000'000, 0 }, { 1'234'567'890, 123'456'789 } };
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    auto attributes = NSFileManager::attributesOfItemAtPath(path);
    ASSERT_TRUE(attributes.ok());
    EXPECT_EQ(attributes->size, 5);
    EXPECT_EQ(attributes->modificationDate.microseconds, 1'234'567'890'123'456);
    EXPECT_TRUE(attributes->isRegularFile);
    EXPECT_FALSE(attributes->isDirectory);
}

TEST(NSFileManager, CreationDateIsTheBirthTimeWhereThereIsOne)
{
    test::ScratchFolder folder;
    // The clock of file times, which ticks coarsely and is never ahead of the other one.
    timespec coarse {};
    clock_gettime(CLOCK_REALTIME_COARSE, &coarse);
    Date before = Date::fromTimespec(coarse.tv_sec, coarse.tv_nsec);
    std::string path = folder.write("a", "12345");
    auto attributes = NSFileManager::attributesOfItemAtPath(path);
    if (!attributes->creationDate)
        GTEST_SKIP() << "this file system keeps no birth times";
    EXPECT_GE(*attributes->creationDate, before);
    EXPECT_LE(*attributes->creationDate, Date::now());
}

TEST(NSFileManager, Existence)
{
    test::ScratchFolder folder;
    EXPECT_TRUE(NSFileManager::fileExistsAtPath(folder.path()));
    EXPECT_FALSE(NSFileManager::fileExistsAtPath(folder.file("none")));
    EXPECT_FALSE(NSFileManager::fileExistsAtPath(Path()));
    ASSERT_EQ(symlink("nowhere", folder.file("link").c_str()), 0);
    EXPECT_FALSE(NSFileManager::fileExistsAtPath(folder.file("link")));
}

TEST(NSFileManager, MissingFilesHaveNoAttributes)
{
    EXPECT_EQ(NSFileManager::attributesOfItemAtPath("/no/such/file").error().kind, Error::Kind::NotFound);
    EXPECT_FALSE(NSFileManager::attributesOfItemAtPath(Path()).ok());
    EXPECT_FALSE(NSFileManager::attributesOfItemAtPath(std::string(5000, 'x')).ok());
}

} // namespace
} // namespace mv
