#include "system/OpenedFile.h"

#include "tests/support/OrdinaryUser.h"
#include "tests/support/Scratch.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {
namespace {

std::string textOf(const OpenedFile& file)
{
    const SharedSource& content = *file.content();
    return std::string(charsOf(*content->bytesAt(0, content->size())));
}

// A link in anybody's folder may lead to the process that follows it.
TEST(OpenedFile, NothingOfTheKernelHasContent)
{
    test::ScratchFolder folder;
    UniqueFd own(memfd_create("own", MFD_CLOEXEC));
    std::string link = folder.file("a.mp3");
    for (const std::string& target : { std::string("/proc/self/maps"), std::string("/proc/self/mem"),
             std::string("/sys/kernel/mm/transparent_hugepage/enabled"),
             "/proc/self/fd/" + std::to_string(own.get()) }) {
        ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0);
        EXPECT_FALSE(OpenedFile::at(link).content().ok()) << target;
        EXPECT_FALSE(InputFile::open(link).ok()) << target;
        unlink(link.c_str());
    }
    EXPECT_FALSE(OpenedFile::adopt(Path(), UniqueFd(open("/proc/self/mem", O_RDONLY | O_CLOEXEC))).content().ok());
    // What has a name may be opened anyhow, as by "/dev/stdin".
    UniqueFd named(open(folder.write("c.mp3", "123").c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(textOf(OpenedFile::at("/proc/self/fd/" + std::to_string(named.get()))), "123");
    // An ordinary link stays one.
    folder.write("b.mp3", "12345");
    ASSERT_EQ(symlink("b.mp3", link.c_str()), 0);
    EXPECT_EQ(textOf(OpenedFile::at(link)), "12345");
}

TEST(OpenedFile, HasContentAndAttributes)
{
    test::ScratchFolder folder;
    std::string path = folder.write("a", "12345");
    timespec times[2] = { { 1'000'000'000, 0 }, { 1'234'567'890, 123'456'789 } };
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    OpenedFile file = OpenedFile::at(path);
    EXPECT_EQ(file.path(), Path(path));
    ASSERT_TRUE(file.exists());
    EXPECT_EQ(file.attributes()->size, 5);
    EXPECT_EQ(file.attributes()->modificationDate.microseconds, 1'234'567'890'123'456);
    EXPECT_TRUE(file.attributes()->isRegularFile);
    EXPECT_FALSE(file.attributes()->isDirectory);
    ASSERT_TRUE(file.content().ok());
    EXPECT_EQ(textOf(file), "12345");
}

TEST(OpenedFile, CreationDateIsTheBirthTimeWhereThereIsOne)
{
    test::ScratchFolder folder;
    // The clock of file times, which ticks coarsely and is never ahead of the other one.
    timespec coarse {};
    clock_gettime(CLOCK_REALTIME_COARSE, &coarse);
    Date before = Date::fromTimespec(coarse.tv_sec, coarse.tv_nsec);
    OpenedFile file = OpenedFile::at(folder.write("a", "12345"));
    if (!file.attributes()->creationDate)
        GTEST_SKIP() << "this file system keeps no birth times";
    EXPECT_GE(*file.attributes()->creationDate, before);
    EXPECT_LE(*file.attributes()->creationDate, Date::now());
}

TEST(OpenedFile, StaysTheFileWhoseNameIsGivenAway)
{
    test::ScratchFolder folder;
    std::string path = folder.write("a", "12345");
    OpenedFile file = OpenedFile::at(path);
    ASSERT_EQ(rename(folder.write("b", "another").c_str(), path.c_str()), 0);
    EXPECT_EQ(textOf(file), "12345");
    EXPECT_FALSE(file.isSameFileAs(OpenedFile::at(path).attributes()));
}

TEST(OpenedFile, WhatIsNotThereIsAValueToo)
{
    test::ScratchFolder folder;
    ASSERT_EQ(symlink("nowhere", folder.file("dangling").c_str()), 0);
    for (const Path& path :
        { Path(), Path(""), Path(folder.file("none")), Path(folder.file("dangling")), Path(std::string(5000, 'x')) }) {
        OpenedFile file = OpenedFile::at(path);
        EXPECT_EQ(file.path(), path);
        EXPECT_FALSE(file.exists()) << path.text();
        EXPECT_EQ(file.attributes().error().kind, Error::Kind::NotFound) << path.text();
        EXPECT_FALSE(file.content().ok()) << path.text();
    }
    EXPECT_EQ(OpenedFile::at(Path()).content().error().kind, Error::Kind::NotFound);
}

TEST(OpenedFile, OnlyRegularFilesHaveContent)
{
    test::ScratchFolder folder;
    ASSERT_EQ(mkfifo(folder.file("fifo").c_str(), 0600), 0);
    for (const std::string& path : { folder.path(), folder.file("fifo"), std::string("/dev/null") }) {
        OpenedFile file = OpenedFile::at(path);
        EXPECT_TRUE(file.exists()) << path;
        EXPECT_FALSE(file.attributes()->isRegularFile) << path;
        EXPECT_EQ(file.content().error().kind, Error::Kind::Unsupported) << path;
    }
    EXPECT_TRUE(OpenedFile::at(folder.path()).attributes()->isDirectory);
}

TEST(OpenedFile, FilesThatMayNotBeReadHaveAttributes)
{
    test::ScratchFolder folder;
    std::string path = folder.write("a", "12345");
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    test::OrdinaryUser::give(folder.path());
    test::OrdinaryUser::give(path);
    test::OrdinaryUser user;
    OpenedFile file = OpenedFile::at(path);
    EXPECT_EQ(file.attributes()->size, 5);
    EXPECT_EQ(file.content().error().kind, Error::Kind::Access);
}

TEST(OpenedFile, HasADescriptorWhereItsContentIsAFile)
{
    test::ScratchFolder folder;
    std::string path = folder.write("a", "12345");
    OpenedFile file = OpenedFile::at(path);
    struct stat facts { };
    ASSERT_EQ(fstat(file.descriptor(), &facts), 0);
    EXPECT_EQ(facts.st_ino, file.attributes()->identity.inode);
    EXPECT_EQ(file.contentAsFile()->fd(), file.descriptor());
    OpenedFile inMemory(path, file.attributes(), sourceOfBytes({ 1, 2 }));
    EXPECT_EQ(inMemory.descriptor(), -1);
    EXPECT_EQ(inMemory.contentAsFile(), nullptr);
    EXPECT_EQ(OpenedFile::at(folder.path()).descriptor(), -1);
    EXPECT_EQ(OpenedFile().descriptor(), -1);
}

TEST(OpenedFile, BytesAreAFileWithoutAName)
{
    OpenedFile file = OpenedFile::ofBytes("a picture", bytesOf("12345"));
    EXPECT_EQ(file.path(), Path("a picture"));
    EXPECT_EQ(file.attributes()->size, 5);
    EXPECT_TRUE(file.attributes()->isRegularFile);
    EXPECT_EQ(textOf(file), "12345");
    EXPECT_GE(file.descriptor(), 0);
    EXPECT_FALSE(file.isSameFileAs(OpenedFile::ofBytes("a picture", bytesOf("12345")).attributes()));
    EXPECT_EQ(textOf(OpenedFile::ofBytes("nothing", {})), "");
}

TEST(OpenedFile, OneFileByTwoNames)
{
    test::ScratchFolder folder;
    std::string path = folder.write("a", "12345");
    ASSERT_EQ(link(path.c_str(), folder.file("hard").c_str()), 0);
    ASSERT_EQ(symlink("a", folder.file("soft").c_str()), 0);
    OpenedFile file = OpenedFile::at(path);
    EXPECT_TRUE(file.isSameFileAs(OpenedFile::at(folder.file("hard")).attributes()));
    EXPECT_TRUE(file.isSameFileAs(OpenedFile::at(folder.file("soft")).attributes()));
    EXPECT_FALSE(file.isSameFileAs(OpenedFile::at(folder.path()).attributes()));
    EXPECT_FALSE(file.isSameFileAs(OpenedFile::at(folder.file("none")).attributes()));
    EXPECT_FALSE(OpenedFile::at("none").isSameFileAs(OpenedFile::at("none").attributes()));
}

} // namespace
} // namespace mv
