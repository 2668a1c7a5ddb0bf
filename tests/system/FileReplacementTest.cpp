// One component replaces files for every writer; each promise of its header has its test here.
#include "system/FileReplacement.h"

#include "system/HiddenNeighbours.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <thread>
#include <unistd.h>

namespace mv {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Outcome = FileReplacement::Outcome;

/// What a plan's result holds for one fixed content.
FileReplacement::Plan fixed(FileContent content)
{
    return [content](const InputFile&) { return Result(std::optional(content)); };
}

Result<void> noCheck(const InputFile&) { return {}; }

std::string textOf(const std::string& path)
{
    Bytes bytes = test::readFile(path);
    return { bytes.begin(), bytes.end() };
}

FileSegment literal(std::string_view text)
{
    ByteView bytes = bytesOf(text);
    return FileSegment::literal({ bytes.begin(), bytes.end() });
}

std::vector<std::string> namesIn(const std::string& folder)
{
    std::vector<std::string> names;
    DIR* directory = opendir(folder.c_str());
    while (dirent* entry = readdir(directory))
        if (std::string name = entry->d_name; name != "." && name != "..")
            names.push_back(name);
    closedir(directory);
    std::sort(names.begin(), names.end());
    return names;
}

struct stat factsOf(const std::string& path)
{
    struct stat facts { };
    EXPECT_EQ(lstat(path.c_str(), &facts), 0) << path;
    return facts;
}

class FileReplacementTest : public testing::Test {
protected:
    void expectReplaced(const std::string& path, FileContent content, const std::string& expected)
    {
        auto outcome = FileReplacement::perform(path, fixed(std::move(content)), noCheck);
        ASSERT_TRUE(outcome.ok()) << outcome.error().text;
        EXPECT_EQ(*outcome, Outcome::Replaced);
        EXPECT_EQ(textOf(path), expected);
    }
    void expectFailure(const std::string& path, const FileReplacement::Plan& plan, const FileReplacement::Check& check,
        const std::string& reason)
    {
        test::LogCapture log;
        EXPECT_FALSE(FileReplacement::perform(path, plan, check).ok());
        EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("Cannot replace the content of " + path + ": ")));
        EXPECT_THAT(log.lines(), ElementsAre(HasSubstr(reason)));
    }

    std::string song() { return m_folder.write("song.mp3", std::string_view("0123456789")); }
    /// The same with a second name.
    std::pair<std::string, std::string> linkedSong()
    {
        std::string path = song();
        std::string second = m_folder.file("second.mp3");
        EXPECT_EQ(link(path.c_str(), second.c_str()), 0);
        return { path, second };
    }
    UniqueFd openFolder() { return UniqueFd(open(m_folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)); }
    bool namelessFilesAreMade()
    {
        return static_cast<bool>(UniqueFd(open(m_folder.path().c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600)));
    }
    /// An update that is killed as soon as the new content is written.
    static void killUpdateOf(const std::string& path, std::string_view content)
    {
        pid_t child = fork();
        if (child == 0) {
            (void)FileReplacement::perform(path, fixed({ literal(content) }), [](const InputFile&) -> Result<void> {
                raise(SIGKILL);
                return {};
            });
            _exit(1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status));
    }

    test::ScratchFolder m_folder;
};

TEST_F(FileReplacementTest, JoinsLiteralsAndStretchesOfTheOldContent)
{
    std::string path = song();
    expectReplaced(
        path, { literal("new "), FileSegment::copy(4, 6), literal("!"), FileSegment::copy(0, 2) }, "new 456789!01");
    EXPECT_THAT(namesIn(m_folder.path()), ElementsAre("song.mp3"));
}

TEST_F(FileReplacementTest, CopiesStretchesOfManyChunksAtEveryAlignment)
{
    std::string old(5'000'017, 'x');
    for (std::size_t i = 0; i < old.size(); ++i)
        old[i] = static_cast<char>(i * 2654435761u >> 11);
    std::string path = m_folder.write("song.mp3", std::string_view(old));
    expectReplaced(
        path, { literal("abc"), FileSegment::copy(4096 * 3, old.size() - 4096 * 3) }, "abc" + old.substr(4096 * 3));
    path = m_folder.write("song.mp3", std::string_view(old));
    expectReplaced(path, { FileSegment::copy(5, 9000), FileSegment::copy(9005, 4'900'000) }, old.substr(5, 4'909'000));
}

TEST_F(FileReplacementTest, MayBecomeEmptyAndBeFilledFromEmpty)
{
    std::string path = song();
    expectReplaced(path, {}, "");
    expectReplaced(path, { literal("a") }, "a");
}

TEST_F(FileReplacementTest, WritesNothingWhenTheFileAlreadyHoldsTheContent)
{
    std::string path = song();
    struct stat before = factsOf(path);
    auto same = FileReplacement::perform(
        path, fixed({ FileSegment::copy(0, 3), literal("345"), FileSegment::copy(6, 4) }), noCheck);
    ASSERT_TRUE(same.ok());
    EXPECT_EQ(*same, Outcome::Unchanged);
    auto none = FileReplacement::perform(
        path, [](const InputFile&) { return Result(std::optional<FileContent> {}); }, noCheck);
    ASSERT_TRUE(none.ok());
    EXPECT_EQ(*none, Outcome::Unchanged);
    struct stat after = factsOf(path);
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(before.st_ctim.tv_nsec, after.st_ctim.tv_nsec);
}

TEST_F(FileReplacementTest, AFailingPlanOrCheckKeepsTheOldContent)
{
    std::string path = song();
    Error reason { Error::Kind::Format, "the tag does not read back" };
    expectFailure(
        path, fixed({ literal("new") }), [&](const InputFile&) { return reason; }, "the tag does not read back");
    expectFailure(
        path, [&](const InputFile&) { return reason; }, noCheck, "the tag does not read back");
    EXPECT_EQ(textOf(path), "0123456789");
    EXPECT_THAT(namesIn(m_folder.path()), ElementsAre("song.mp3"));
}

TEST_F(FileReplacementTest, TheCheckSeesTheNewContent)
{
    std::string path = song();
    auto check = [](const InputFile& made) -> Result<void> {
        auto bytes = made.bytesAt(0, made.size());
        EXPECT_EQ(charsOf(*bytes), "new 89");
        return {};
    };
    EXPECT_TRUE(FileReplacement::perform(path, fixed({ literal("new "), FileSegment::copy(8, 2) }), check).ok());
}

TEST_F(FileReplacementTest, RefusesWhatIsNoWritableRegularFile)
{
    expectFailure(m_folder.file("missing"), fixed({}), noCheck, "No such file");
    expectFailure(m_folder.path(), fixed({}), noCheck, "not a regular file");
    std::string fifo = m_folder.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    expectFailure(fifo, fixed({}), noCheck, "not a regular file");
    EXPECT_FALSE(FileReplacement::perform(Path(), fixed({}), noCheck).ok());
}

TEST_F(FileReplacementTest, RefusesAStretchPastTheEnd)
{
    std::string path = song();
    expectFailure(path, fixed({ FileSegment::copy(5, 6) }), noCheck, "became shorter");
    EXPECT_EQ(textOf(path), "0123456789");
}

TEST_F(FileReplacementTest, KeepsModeOwnerAndAttributes)
{
    std::string path = song();
    bool attributes = setxattr(path.c_str(), "user.mood", "calm", 4, 0) == 0;
    bool owner = chown(path.c_str(), 1234, 2345) == 0;
    ASSERT_EQ(chmod(path.c_str(), 02640), 0);
    if (geteuid() != 0)
        owner = false;
    expectReplaced(path, { literal("new") }, "new");
    EXPECT_EQ(factsOf(path).st_mode & 07777, 02640u);
    if (owner) {
        EXPECT_EQ(factsOf(path).st_uid, 1234u);
        EXPECT_EQ(factsOf(path).st_gid, 2345u);
    }
    if (attributes) {
        char value[8] = {};
        EXPECT_EQ(getxattr(path.c_str(), "user.mood", value, sizeof value), 4);
        EXPECT_STREQ(value, "calm");
    }
}

TEST_F(FileReplacementTest, KeepsAnAclAndInheritsNone)
{
    if (!test::haveProgram("setfacl"))
        GTEST_SKIP() << "setfacl is not installed";
    std::string with = m_folder.write("with.mp3", std::string_view("0123456789"));
    std::string without = m_folder.write("without.mp3", std::string_view("0123456789"));
    if (test::run("setfacl -m u:1234:rw " + test::quoted(with)) != 0)
        GTEST_SKIP() << "this file system has no ACLs";
    ASSERT_EQ(test::run("setfacl -d -m u:4321:rwx " + test::quoted(m_folder.path())), 0);
    std::string aclWith = test::outputOf("getfacl -c -p " + test::quoted(with));
    std::string aclWithout = test::outputOf("getfacl -c -p " + test::quoted(without));
    expectReplaced(with, { literal("new") }, "new");
    expectReplaced(without, { literal("new") }, "new");
    EXPECT_EQ(test::outputOf("getfacl -c -p " + test::quoted(with)), aclWith);
    EXPECT_EQ(test::outputOf("getfacl -c -p " + test::quoted(without)), aclWithout);
}

TEST_F(FileReplacementTest, ASymlinkStaysAndItsTargetIsReplaced)
{
    std::string path = m_folder.write("deep/song.mp3", std::string_view("0123456789"));
    std::string link = m_folder.file("link.mp3");
    ASSERT_EQ(symlink("deep/song.mp3", link.c_str()), 0);
    expectReplaced(link, { literal("new") }, "new");
    EXPECT_TRUE(S_ISLNK(factsOf(link).st_mode));
    EXPECT_EQ(textOf(path), "new");
    EXPECT_THAT(namesIn(m_folder.file("deep")), ElementsAre("song.mp3"));
}

TEST_F(FileReplacementTest, AFileOfSeveralNamesKeepsThem)
{
    auto [path, second] = linkedSong();
    expectReplaced(path, { literal("longer than before "), FileSegment::copy(2, 8) }, "longer than before 23456789");
    EXPECT_EQ(textOf(second), "longer than before 23456789");
    expectReplaced(second, { FileSegment::copy(0, 6) }, "longer");
    EXPECT_EQ(textOf(path), "longer");
    EXPECT_EQ(factsOf(path).st_ino, factsOf(second).st_ino);
    EXPECT_THAT(namesIn(m_folder.path()), ElementsAre("second.mp3", "song.mp3"));
}

TEST_F(FileReplacementTest, AFailedRewriteInPlaceIsUndone)
{
    auto [path, second] = linkedSong();
    Error reason { Error::Kind::Format, "unreadable" };
    expectFailure(
        path, fixed({ literal("other content") }), [&](const InputFile&) { return reason; }, "unreadable");
    EXPECT_EQ(textOf(path), "0123456789");
    EXPECT_EQ(factsOf(path).st_ino, factsOf(second).st_ino);
    EXPECT_THAT(namesIn(m_folder.path()), ElementsAre("second.mp3", "song.mp3"));
}

TEST_F(FileReplacementTest, AKilledRewriteInPlaceIsRestoredThroughAnyNameInTheFolder)
{
    auto [path, second] = linkedSong();
    killUpdateOf(path, "torn");
    ASSERT_EQ(textOf(path), "torn");
    ASSERT_EQ(namesIn(m_folder.path()).size(), 3u);
    auto outcome = FileReplacement::perform(
        second,
        [](const InputFile& current) {
            EXPECT_EQ(current.size(), 10u); // the restored content is what is planned on
            return Result(std::optional<FileContent> {});
        },
        noCheck);
    EXPECT_TRUE(outcome.ok());
    EXPECT_EQ(textOf(path), "0123456789");
    EXPECT_THAT(namesIn(m_folder.path()), ElementsAre("second.mp3", "song.mp3"));
}

TEST_F(FileReplacementTest, AKilledUpdateLeavesTheOldContentAndNothingElse)
{
    std::string path = song();
    if (!namelessFilesAreMade())
        GTEST_SKIP() << "this file system has no nameless files";
    killUpdateOf(path, "half");
    EXPECT_EQ(textOf(path), "0123456789");
    EXPECT_THAT(namesIn(m_folder.path()), ElementsAre("song.mp3"));
}

TEST_F(FileReplacementTest, TheNextUpdateRemovesTheNamedPartsOfItsTargetOnly)
{
    std::string path = song();
    std::string other = m_folder.write("other.mp3", std::string_view("other"));
    UniqueFd folder = openFolder();
    ASSERT_TRUE(HiddenNeighbours(folder.get(), "song.mp3").makeNamedPart().ok());
    ASSERT_EQ(namesIn(m_folder.path()).size(), 3u);
    expectReplaced(other, { literal("O") }, "O");
    EXPECT_EQ(namesIn(m_folder.path()).size(), 3u); // another target's leftovers may be in the making
    expectReplaced(path, { literal("new") }, "new");
    EXPECT_THAT(namesIn(m_folder.path()), ElementsAre("other.mp3", "song.mp3"));
}

TEST_F(FileReplacementTest, PartsGetTheirNamesLate)
{
    if (!namelessFilesAreMade())
        GTEST_SKIP() << "this file system has no nameless files";
    UniqueFd folder = openFolder();
    HiddenNeighbours neighbours(folder.get(), "song.mp3");
    auto part = neighbours.makePart();
    ASSERT_TRUE(part.ok());
    auto journal = neighbours.makePart();
    ASSERT_TRUE(journal.ok());
    EXPECT_THAT(namesIn(m_folder.path()), ElementsAre());
    ASSERT_TRUE(neighbours.name(*part).ok());
    ASSERT_TRUE(neighbours.makeJournal(*journal, "key").ok());
    EXPECT_THAT(
        namesIn(m_folder.path()), ElementsAre(HasSubstr(".mivo-journal-key-"), testing::StartsWith(".mivo-part-")));
    std::string given = part->name;
    ASSERT_TRUE(neighbours.name(*part).ok());
    EXPECT_EQ(part->name, given); // it has one
    neighbours.removeParts();
    EXPECT_EQ(neighbours.journals("key"), std::vector<std::string> { journal->name });
    EXPECT_EQ(namesIn(m_folder.path()).size(), 1u);
}

TEST_F(FileReplacementTest, NamedPartsBecomeJournalsAndTargetsToo)
{
    UniqueFd folder = openFolder();
    HiddenNeighbours neighbours(folder.get(), "song.mp3");
    auto part = neighbours.makeNamedPart();
    ASSERT_TRUE(part.ok());
    EXPECT_THAT(namesIn(m_folder.path()), ElementsAre(part->name));
    std::string before = part->name;
    ASSERT_TRUE(neighbours.name(*part).ok());
    EXPECT_EQ(part->name, before);
    ASSERT_TRUE(neighbours.makeJournal(*part, "key").ok());
    EXPECT_THAT(namesIn(m_folder.path()), ElementsAre(HasSubstr(".mivo-journal-key-")));
    neighbours.discard(*part);
    EXPECT_THAT(namesIn(m_folder.path()), ElementsAre());
}

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

TEST_F(FileReplacementTest, AForgedJournalOfAnotherUserIsNotBelieved)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can make another user's file";
    auto [path, second] = linkedSong();
    killUpdateOf(path, "torn");
    std::string journal = namesIn(m_folder.path()).front();
    ASSERT_THAT(journal, HasSubstr(".mivo-journal-"));
    ASSERT_EQ(chown(m_folder.file(journal).c_str(), 1234, 1234), 0);
    expectReplaced(path, { FileSegment::copy(0, 2), literal("!") }, "to!");
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
    test::LogCapture log;
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
        test::LogCapture log;
        EXPECT_FALSE(FileReplacement::perform(OpenedFile::at(path), appended, noCheck).ok());
        EXPECT_THAT(log.lines(),
            ElementsAre("Cannot replace the content of " + path + ": "
                + (path == m_folder.path() ? "not a regular file" : "No such file or directory")));
    }
}

} // namespace
} // namespace mv
