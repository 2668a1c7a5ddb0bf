#include "system/EditableFile.h"

#include "tests/support/LogCapture.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Scratch.h"
#include "tests/support/TornFile.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {
namespace {

using test::OrdinaryUser;
using test::ScratchFolder;

Result<std::optional<FileContent>> shortened(const InputFile&)
{
    return std::optional(FileContent { FileSegment::copy(0, 3) });
}

Result<void> noCheck(const InputFile&) { return {}; }

TEST(EditableFile, IsOpenedAndReplaced)
{
    ScratchFolder folder;
    std::string path = folder.write("a.mp3", "content");
    auto file = EditableFile::at(path);
    EXPECT_EQ(file->opened().path(), Path(path));
    EXPECT_EQ((*file->opened().content())->size(), 7u);
    EXPECT_TRUE(file->writable().ok());
    EXPECT_EQ(charsOf(test::readFile(path)), "content");
    EXPECT_EQ(file->replace(shortened, noCheck).value(), FileReplacement::Outcome::Replaced);
    EXPECT_EQ(charsOf(test::readFile(path)), "con");
    EXPECT_FALSE(file->opened().content().ok()) << "nothing of the old file is held";
    EXPECT_EQ(file->opened().path(), Path(path));
    EXPECT_EQ(file->opened().attributes()->size, 7);
}

TEST(EditableFile, ThereMayBeNone)
{
    ScratchFolder folder;
    test::LogCapture log;
    for (const Path& path : { Path(), Path(folder.file("none")), Path(folder.path() + "/none/of/it") }) {
        auto file = EditableFile::at(path);
        EXPECT_FALSE(file->opened().exists());
        EXPECT_FALSE(file->writable().ok());
        EXPECT_FALSE(file->replace(shortened, noCheck).ok());
    }
    EXPECT_EQ(log.lines().size(), 3u);
}

TEST(EditableFile, SaysWhetherItMayBeWritten)
{
    ScratchFolder folder;
    std::string path = folder.write("a.mp3", "content");
    ASSERT_EQ(chmod(path.c_str(), 0400), 0);
    OrdinaryUser::give(folder.path());
    OrdinaryUser::give(path);
    OrdinaryUser user;
    auto file = EditableFile::at(path);
    EXPECT_TRUE(file->opened().content().ok());
    EXPECT_EQ(file->writable().error().kind, Error::Kind::Access);
}

TEST(EditableFile, WhatAKilledRewriteLeftIsWholeBeforeAnybodyReadsIt)
{
    ScratchFolder folder;
    std::string path = folder.write("a.mp3", "content");
    test::tear(path, "co");
    auto file = EditableFile::at(path);
    EXPECT_EQ((*file->opened().content())->size(), 7u);
    EXPECT_EQ(charsOf(test::readFile(path)), "content");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 2);
}

TEST(EditableFile, AJournalOfARewriteThatGoesOnIsWaitedFor)
{
    ScratchFolder folder;
    std::string path = folder.write("a.mp3", "content");
    test::tear(path, "co");
    UniqueFd rival(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(flock(rival.get(), LOCK_EX), 0);
    test::LogCapture log;
    auto file = EditableFile::at(path);
    EXPECT_EQ(charsOf(test::readFile(path)), "co");
    EXPECT_THAT(log.lines(),
        testing::ElementsAre(testing::HasSubstr("what a killed update left: another program holds the file's lock")));
}

} // namespace
} // namespace mv
