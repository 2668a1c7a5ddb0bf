// What an update that is killed leaves, in a file of one name and of several.
#include "tests/system/FileReplacementFixture.h"

namespace mv::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using Outcome = FileReplacement::Outcome;

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

} // namespace
} // namespace mv::test
