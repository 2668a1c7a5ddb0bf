// One component replaces files for every writer; each promise of its header has its test here and beside.
#include "tests/system/FileReplacementFixture.h"

#include <sys/xattr.h>

namespace mv::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Outcome = FileReplacement::Outcome;

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

// Whoever gives a replacement up in the middle has its own words for that.
TEST_F(FileReplacementTest, WhatWasGivenUpIsNotLogged)
{
    std::string path = song();
    LogCapture log;
    const Error given { Error::Kind::Cancelled, "given up" };
    const FileReplacement::Check check = [&](const InputFile&) { return given; };
    auto byCheck = FileReplacement::perform(path, fixed({ literal("new") }), check);
    auto byPlan = FileReplacement::perform(
        path, [&](const InputFile&) { return given; }, noCheck);
    ASSERT_FALSE(byCheck.ok() || byPlan.ok());
    EXPECT_EQ(byCheck.error().text, "given up");
    EXPECT_TRUE(log.lines().empty());
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
    if (run("setfacl -m u:1234:rw " + test::shellQuoted(with)) != 0)
        GTEST_SKIP() << "this file system has no ACLs";
    ASSERT_EQ(run("setfacl -d -m u:4321:rwx " + test::shellQuoted(m_folder.path())), 0);
    std::string aclWith = outputOf("getfacl -c -p " + test::shellQuoted(with));
    std::string aclWithout = outputOf("getfacl -c -p " + test::shellQuoted(without));
    expectReplaced(with, { literal("new") }, "new");
    expectReplaced(without, { literal("new") }, "new");
    EXPECT_EQ(outputOf("getfacl -c -p " + test::shellQuoted(with)), aclWith);
    EXPECT_EQ(outputOf("getfacl -c -p " + test::shellQuoted(without)), aclWithout);
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

} // namespace
} // namespace mv::test
