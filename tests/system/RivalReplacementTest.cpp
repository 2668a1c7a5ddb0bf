// Updates while others hold, change or rename the file.
#include "tests/system/FileReplacementFixture.h"

#include <sys/file.h>
#include <thread>

namespace mv::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Outcome = FileReplacement::Outcome;

TEST_F(FileReplacementTest, ALockThatStaysIsAnError)
{
    static_assert(FileReplacement::MaxLockWait < std::chrono::seconds(3));
    for (int operation : { LOCK_EX, LOCK_SH }) {
        std::string path = song();
        UniqueFd holder(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        ASSERT_EQ(flock(holder.get(), operation), 0);
        // Nobody gives the lock back: that this ends is what is tested.
        expectFailure(path, fixed({ literal("new") }), noCheck, "another program holds the file's lock");
        EXPECT_EQ(textOf(path), "0123456789");
        EXPECT_THAT(namesIn(m_folder.path()), ElementsAre("song.mp3"));
    }
}

TEST_F(FileReplacementTest, PlansAgainWhenTheTargetChangedMeanwhile)
{
    std::string path = song();
    int plans = 0;
    auto plan = [&](const InputFile& current) -> Result<std::optional<FileContent>> {
        ++plans;
        return std::optional(FileContent { literal("new "), FileSegment::copy(0, current.size()) });
    };
    auto check = [&](const InputFile&) -> Result<void> {
        if (plans == 1)
            m_folder.write("song.mp3", std::string_view("edited by somebody"));
        return {};
    };
    auto outcome = FileReplacement::perform(path, plan, check);
    ASSERT_TRUE(outcome.ok());
    EXPECT_EQ(plans, 2);
    EXPECT_EQ(textOf(path), "new edited by somebody");
    EXPECT_THAT(namesIn(m_folder.path()), ElementsAre("song.mp3"));
}

TEST_F(FileReplacementTest, GivesUpOnAFileThatKeepsChanging)
{
    std::string path = song();
    int edits = 0;
    auto check = [&](const InputFile&) -> Result<void> {
        m_folder.write("song.mp3", "edit " + std::to_string(++edits));
        return {};
    };
    expectFailure(path, fixed({ literal("new") }), check, "keeps changing");
    EXPECT_EQ(textOf(path), "edit " + std::to_string(edits));
    EXPECT_THAT(namesIn(m_folder.path()), ElementsAre("song.mp3"));
}

TEST_F(FileReplacementTest, UpdatesOfOneFileTakeTurns)
{
    std::string path = m_folder.write("song.mp3", std::string_view("."));
    auto append = [&] {
        auto plan = [](const InputFile& current) {
            return Result(std::optional(FileContent { FileSegment::copy(0, current.size()), literal("x") }));
        };
        // A disk that takes seconds for one update makes the other one give up: it comes again.
        for (int done = 0; done < 50;)
            done += FileReplacement::perform(path, plan, noCheck).ok();
    };
    std::thread first(append);
    std::thread second(append);
    first.join();
    second.join();
    EXPECT_EQ(textOf(path), "." + std::string(100, 'x'));
}

/// Puts text behind what the file has.
Result<std::optional<FileContent>> appended(const InputFile& current)
{
    return std::optional(FileContent { FileSegment::copy(0, current.size()), literal("+") });
}

bool canBeLocked(const std::string& path)
{
    UniqueFd other(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return flock(other.get(), LOCK_EX | LOCK_NB) == 0;
}

TEST_F(FileReplacementTest, AnOpenedFileIsReadAsItIsUnderTheLock)
{
    std::string path = m_folder.write("song.mp3", std::string_view("one"));
    auto opened = OpenedFile::at(path);
    m_folder.write("song.mp3", std::string_view("one two"));
    ASSERT_TRUE(FileReplacement::perform(opened, appended, noCheck).ok());
    EXPECT_EQ(textOf(path), "one two+");
}

TEST_F(FileReplacementTest, AnOpenedFileThatLostItsNameIsLeftAlone)
{
    std::string path = m_folder.write("song.mp3", std::string_view("old"));
    std::string moved = m_folder.file("moved.mp3");
    auto opened = OpenedFile::at(path);
    ASSERT_EQ(rename(path.c_str(), moved.c_str()), 0);
    m_folder.write("song.mp3", std::string_view("new"));
    // Nor is its lock waited for.
    UniqueFd holder(open(moved.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(flock(holder.get(), LOCK_EX), 0);
    ASSERT_TRUE(FileReplacement::perform(opened, appended, noCheck).ok());
    EXPECT_EQ(textOf(path), "new+");
    EXPECT_EQ(textOf(moved), "old");
}

TEST_F(FileReplacementTest, TheLockGoesThoughTheFileStaysOpen)
{
    std::string path = m_folder.write("song.mp3", std::string_view("text"));
    auto opened = OpenedFile::at(path);
    auto unchanged = [](const InputFile&) { return Result(std::optional<FileContent>()); };
    ASSERT_TRUE(FileReplacement::perform(opened, unchanged, noCheck).ok());
    EXPECT_TRUE(canBeLocked(path));
    auto failing = [](const InputFile&) -> Result<void> { return Error { Error::Kind::Format, "not so" }; };
    LogCapture log;
    EXPECT_FALSE(FileReplacement::perform(opened, appended, failing).ok());
    EXPECT_TRUE(canBeLocked(path));
    auto old = OpenedFile::at(path);
    ASSERT_TRUE(FileReplacement::perform(opened, appended, noCheck).ok());
    EXPECT_TRUE(canBeLocked(path));
    EXPECT_EQ((*old.content())->bytesAt(0, 4).value(), Bytes({ 't', 'e', 'x', 't' })) << "who reads it, reads on";
}

TEST_F(FileReplacementTest, WhatCouldNotBeOpenedKeepsItsError)
{
    for (const std::string& path : { m_folder.file("none"), m_folder.path() }) {
        LogCapture log;
        EXPECT_FALSE(FileReplacement::perform(OpenedFile::at(path), appended, noCheck).ok());
        EXPECT_THAT(log.lines(),
            ElementsAre("Cannot replace the content of " + path + ": "
                + (path == m_folder.path() ? "not a regular file" : "No such file or directory")));
    }
}

} // namespace
} // namespace mv::test
